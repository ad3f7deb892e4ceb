#pragma once

namespace support::wayland {

/// Whether the desktop is a Wayland session: XDG_SESSION_TYPE says so, or says neither this nor
/// "x11" while WAYLAND_DISPLAY is set. TARSIN_CAPTURE=x11 or =wayland overrules both.
[[nodiscard]] bool isWaylandSession();

}  // namespace support::wayland
