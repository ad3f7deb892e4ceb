#include "capture/grabdevice/grabdevice.h"

namespace capture {

GrabDevice platformGrabDevice() {
    return {"gdigrab", "desktop", "offset_x", "offset_y"};
}

}  // namespace capture
