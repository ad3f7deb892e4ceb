#include "support/wayland/session.h"

#include <cstdlib>
#include <string_view>

namespace support::wayland {
namespace {

std::string_view variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

}  // namespace

bool isWaylandSession() {
    const std::string_view forced = variable("TARSIN_CAPTURE");
    if (forced == "x11" || forced == "wayland") {
        return forced == "wayland";
    }
    const std::string_view type = variable("XDG_SESSION_TYPE");
    return type == "wayland" || (type != "x11" && !variable("WAYLAND_DISPLAY").empty());
}

}  // namespace support::wayland
