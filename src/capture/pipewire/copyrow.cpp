#include "capture/pipewire/copyrow.h"

#include "capture/pipewire/copyrowloops.h"

namespace capture::pipewire {

CopyRow copyRowOf(PixelOrder order) {
#if defined(TARSIN_SSSE3)
    if (__builtin_cpu_supports("ssse3")) {
        return copyRowSsse3(order);
    }
#endif
    return loopOf(order);
}

}  // namespace capture::pipewire
