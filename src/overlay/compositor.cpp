#include "overlay/compositor.h"

#include <wayland-client.h>

#include <cstdint>
#include <cstring>

namespace overlay {
namespace {

void onGlobal(void* data, wl_registry* /*registry*/, std::uint32_t /*number*/,
              const char* interface, std::uint32_t /*version*/) {
    if (std::strcmp(interface, "zwlr_layer_shell_v1") == 0) {
        *static_cast<bool*>(data) = true;
    }
}

void onGlobalGone(void* /*data*/, wl_registry* /*registry*/, std::uint32_t /*number*/) {}

}  // namespace

bool compositorHasLayerShell() {
    static constexpr wl_registry_listener kEvents = {onGlobal, onGlobalGone};
    wl_display* display = wl_display_connect(nullptr);
    if (display == nullptr) {
        return false;
    }
    bool found = false;
    wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &kEvents, &found);
    wl_display_roundtrip(display);
    wl_registry_destroy(registry);
    wl_display_disconnect(display);
    return found;
}

}  // namespace overlay
