#pragma once
// Converts decoded frames to RGB.

#include <string>

#include "support/ffmpeghandles.h"

namespace monitor {

/// The frame's YCbCr is taken as limited range, with the BT.601 matrix up to 720x576 and with
/// BT.709 above. Not thread-safe.
class RgbConverter {
public:
    /// Exact rounds to the nearest value. Fast may be off by one, and takes 2.5 ms instead of 74 ms
    /// for 1920x1080 pixels of 4:2:2 on a single core.
    enum class Rounding { Exact, Fast };

    RgbConverter(AVPixelFormat target, Rounding rounding)
        : m_target(target), m_rounding(rounding) {}

    /// Converts `frame` into `rgb`. The buffer of `rgb` is reused if it fits and no other AVFrame
    /// refers to it. Returns "" or what failed.
    [[nodiscard]] std::string convert(const AVFrame& frame, AVFrame& rgb);

private:
    bool prepare(const AVFrame& frame);

    const AVPixelFormat m_target;
    const Rounding m_rounding;
    support::ScalerPtr m_scaler;
    int m_width = 0;
    int m_height = 0;
    int m_format = -1;
};

}  // namespace monitor
