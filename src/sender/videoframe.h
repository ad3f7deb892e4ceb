#pragma once

#include "ndi/ndilib.h"

namespace sender {

/// A sender's frame description before initParmeter(). The announced rate is always this one; the
/// rate that the operator chooses paces the capture only.
[[nodiscard]] inline NDIlib_video_frame_v2_t initialVideoFrame() {
    NDIlib_video_frame_v2_t frame{};
    frame.FourCC = NDIlib_FourCC_type_UYVY;
    frame.frame_rate_N = 30000;
    frame.frame_rate_D = 1001;
    frame.frame_format_type = NDIlib_frame_format_type_progressive;
    frame.timecode = NDIlib_send_timecode_synthesize;
    return frame;
}

}  // namespace sender
