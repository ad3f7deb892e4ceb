#include "capture/pipewire/copyrowloops.h"

namespace capture::pipewire {

CopyRow copyRowSsse3(PixelOrder order) {
    return loopOf(order);
}

}  // namespace capture::pipewire
