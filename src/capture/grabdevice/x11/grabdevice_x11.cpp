#include <cstdlib>

#include "capture/grabdevice/grabdevice.h"
#include "support/wayland/session.h"

namespace capture {

GrabDevice platformGrabDevice() {
    const char* display = std::getenv("DISPLAY");
    return {
        "x11grab", display != nullptr ? display : "", "grab_x", "grab_y",
        support::wayland::isWaylandSession()
            ? "this is a Wayland session, where FFmpeg can grab windows of X11 programs only and "
              "all else would be black. Leave forceUseOldCapture at 0 to capture through the "
              "desktop portal, or log in to an X11 (Xorg) session."
            : ""};
}

}  // namespace capture
