#pragma once

#include <cstdint>

#include "support/ffmpeghandles.h"

namespace sender {

/// Converts decoded frames to packed, opaque BGRA. A grabbing device may change its pixel format
/// from one frame to the next, and its fourth byte is undefined; every frame is handled on its own.
/// One caller at a time.
class BgraConverter {
public:
    /// Writes width * height pixels to `dest`, rows packed, every alpha 255. A frame of another
    /// size is scaled. False: swscale does not support its pixel format; `dest` is unchanged.
    [[nodiscard]] bool convert(const AVFrame& frame, int width, int height, std::uint8_t* dest);

    /// Frees what convert() keeps from frame to frame.
    void release() { m_scaler.reset(); }

private:
    support::ScalerPtr m_scaler;
};

}  // namespace sender
