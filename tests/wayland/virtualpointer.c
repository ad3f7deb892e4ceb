// Gives sway, which has no input device here, a pointer (protocol wlr-virtual-pointer-unstable-v1).
// usage: virtualpointer WIDTH HEIGHT COMMAND...    the size is that of the whole layout
// commands, in their order: X,Y moves to a place of the layout; press, release: the left button;
// stay: until the program is killed, because the pointer goes with it.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>
#include <wayland-client.h>

enum { kMotionAbsolute = 1, kButton = 2, kFrame = 4 };  // Requests by their place in the protocol.
enum { kLeftButton = 0x110, kStepUs = 60000 };

static const struct wl_interface pointerInterface;
static const struct wl_interface* noTypes[5];
static const struct wl_interface* createTypes[] = {&wl_seat_interface, &pointerInterface};
static const struct wl_message managerRequests[] = {{"create_virtual_pointer", "?on", createTypes},
                                                    {"destroy", "", NULL}};
static const struct wl_interface managerInterface = {
    "zwlr_virtual_pointer_manager_v1", 1, 2, managerRequests, 0, NULL};
static const struct wl_message pointerRequests[] = {
    {"motion", "uff", noTypes},   {"motion_absolute", "uuuuu", noTypes},
    {"button", "uuu", noTypes},   {"axis", "uuf", noTypes},
    {"frame", "", NULL},          {"axis_source", "u", noTypes},
    {"axis_stop", "uu", noTypes}, {"axis_discrete", "uufi", noTypes},
    {"destroy", "", NULL}};
static const struct wl_interface pointerInterface = {"zwlr_virtual_pointer_v1", 1, 9,
                                                     pointerRequests,           0, NULL};

static struct wl_proxy* manager;

static void onGlobal(void* data, struct wl_registry* registry, uint32_t number,
                     const char* interface, uint32_t version) {
    (void)data, (void)version;
    if (strcmp(interface, managerInterface.name) == 0) {
        manager = wl_registry_bind(registry, number, &managerInterface, 1);
    }
}

static void onGlobalGone(void* data, struct wl_registry* registry, uint32_t number) {
    (void)data, (void)registry, (void)number;
}

static const struct wl_registry_listener registryEvents = {onGlobal, onGlobalGone};

int main(int argc, char** argv) {
    struct wl_display* display = wl_display_connect(NULL);
    if (display == NULL || argc < 4) {
        return 1;
    }
    struct wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &registryEvents, NULL);
    wl_display_roundtrip(display);
    if (manager == NULL) {
        return 2;
    }
    struct wl_proxy* pointer =
        wl_proxy_marshal_flags(manager, 0, &pointerInterface, 1, 0, NULL, NULL);
    wl_display_roundtrip(display);
    uint32_t time = 1;
    for (int i = 3; i < argc; ++i, ++time) {
        unsigned x = 0;
        unsigned y = 0;
        if (strcmp(argv[i], "stay") == 0) {
            pause();
        }
        usleep(kStepUs);  // Clients bind the new pointer, and look at one step before the next.
        if (sscanf(argv[i], "%u,%u", &x, &y) == 2) {
            wl_proxy_marshal_flags(pointer, kMotionAbsolute, NULL, 1, 0, time, x, y,
                                   (uint32_t)atoi(argv[1]), (uint32_t)atoi(argv[2]));
        } else {
            wl_proxy_marshal_flags(pointer, kButton, NULL, 1, 0, time, kLeftButton,
                                   strcmp(argv[i], "press") == 0 ? 1 : 0);
        }
        wl_proxy_marshal_flags(pointer, kFrame, NULL, 1, 0);
        wl_display_roundtrip(display);
    }
    usleep(kStepUs);
    wl_proxy_destroy(pointer);
    wl_proxy_destroy(manager);
    wl_registry_destroy(registry);
    wl_display_disconnect(display);
    return 0;
}
