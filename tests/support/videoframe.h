#pragma once

#include <cstdint>

#include "ndi/ndilib.h"

namespace tests {

/// A progressive BGRA frame with packed rows, its timecode to be filled in by the library. The
/// pixels stay the caller's.
[[nodiscard]] inline NDIlib_video_frame_v2_t bgraFrame(int width, int height, std::uint8_t* pixels,
                                                       int framesPerSecond) {
    NDIlib_video_frame_v2_t frame{};
    frame.xres = width;
    frame.yres = height;
    frame.FourCC = NDIlib_FourCC_type_BGRA;
    frame.frame_rate_N = framesPerSecond;
    frame.frame_rate_D = 1;
    frame.frame_format_type = NDIlib_frame_format_type_progressive;
    frame.timecode = NDIlib_send_timecode_synthesize;
    frame.p_data = pixels;
    return frame;
}

}  // namespace tests
