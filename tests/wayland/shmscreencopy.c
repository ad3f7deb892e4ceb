// Preloaded into xdg-desktop-portal-wlr 0.7.0, which demands that the compositor name a DMA-BUF
// format with every frame although it then uses shared memory (its issue 289). A compositor without
// a graphics card names none. This adds one to each "buffer" event of the screencopy protocol.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdint.h>
#include <string.h>

struct wl_proxy;
extern const char* wl_proxy_get_class(struct wl_proxy* proxy);

#define DRM_FORMAT_XRGB8888 0x34325258

typedef void (*Plain)(void* data, struct wl_proxy* frame);
typedef void (*Three)(void* data, struct wl_proxy* frame, uint32_t a, uint32_t b, uint32_t c);
typedef void (*Four)(void* data, struct wl_proxy* frame, uint32_t a, uint32_t b, uint32_t c,
                     uint32_t d);
typedef int (*AddListener)(struct wl_proxy* proxy, const void* functions, void* data);

// The events of zwlr_screencopy_frame_v1 in the protocol's order.
struct FrameEvents {
    Four buffer;
    Plain flags, ready, failed, damage;
    Three linuxDmabuf;
    Plain bufferDone;
};

static struct FrameEvents original;
static struct FrameEvents extended;

static void onBuffer(void* data, struct wl_proxy* frame, uint32_t format, uint32_t width,
                     uint32_t height, uint32_t stride) {
    original.linuxDmabuf(data, frame, DRM_FORMAT_XRGB8888, width, height);
    original.buffer(data, frame, format, width, height, stride);
}

int wl_proxy_add_listener(struct wl_proxy* proxy, void (**functions)(void), void* data) {
    AddListener next = (AddListener)dlsym(RTLD_NEXT, "wl_proxy_add_listener");
    if (strcmp(wl_proxy_get_class(proxy), "zwlr_screencopy_frame_v1") != 0) {
        return next(proxy, functions, data);
    }
    memcpy(&original, functions, sizeof original);
    extended = original;
    extended.buffer = onBuffer;
    return next(proxy, &extended, data);
}
