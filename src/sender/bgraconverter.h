#pragma once

#include <cstdint>

#include "sender/ffmpeghandles.h"

namespace sender {

/// Turns decoded pictures into packed, opaque BGRA. A grabbing device may change its pixel format
/// from one picture to the next and leaves anything in the fourth byte, so both are looked at for
/// each picture. One caller at a time.
class BgraConverter {
public:
    /// Writes width * height pixels to `dest`, rows packed, every alpha 255. A picture of another
    /// size is scaled. False: swscale can't read the picture's pixel format; `dest` is untouched.
    [[nodiscard]] bool convert(const AVFrame& picture, int width, int height, std::uint8_t* dest);

    /// Gives back what convert() keeps from picture to picture.
    void release() { m_scaler.reset(); }

private:
    ScalerPtr m_scaler;
};

}  // namespace sender
