#include "ndi/libav/libavencoder.h"

namespace ndi {

std::unique_ptr<PictureEncoder> createPictureEncoder() {
    return createLibavEncoder();
}

}  // namespace ndi
