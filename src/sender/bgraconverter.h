#pragma once

#include <cstdint>

#include "support/ffmpeghandles.h"

namespace sender {

/// Turns decoded frames into packed, opaque BGRA. A grabbing device may change its pixel format
/// from one frame to the next and leaves anything in the fourth byte, so both are looked at for
/// each frame. One caller at a time.
class BgraConverter {
public:
    /// Writes width * height pixels to `dest`, rows packed, every alpha 255. A frame of another
    /// size is scaled. False: swscale can't read the frame's pixel format; `dest` is untouched.
    [[nodiscard]] bool convert(const AVFrame& frame, int width, int height, std::uint8_t* dest);

    /// Gives back what convert() keeps from frame to frame.
    void release() { m_scaler.reset(); }

private:
    support::ScalerPtr m_scaler;
};

}  // namespace sender
