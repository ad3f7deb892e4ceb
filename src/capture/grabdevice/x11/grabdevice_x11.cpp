#include <cstdlib>

#include "capture/grabdevice/grabdevice.h"

namespace capture {

GrabDevice platformGrabDevice() {
    const char* display = std::getenv("DISPLAY");
    return {"x11grab", display != nullptr ? display : "", "grab_x", "grab_y"};
}

}  // namespace capture
