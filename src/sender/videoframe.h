#pragma once
// The frame description that both senders fill in: what it is before a region is known, and its
// rate.

#include <optional>

#include "ndi/ndilib.h"
#include "sender/senderoptions.h"

namespace sender {

/// A sender's frame description before initParmeter(). Without SenderOptions the announced rate is
/// always this one; the rate that the operator chooses paces the capture only.
[[nodiscard]] inline NDIlib_video_frame_v2_t initialVideoFrame() {
    NDIlib_video_frame_v2_t frame{};
    frame.FourCC = NDIlib_FourCC_type_UYVY;
    frame.frame_rate_N = FrameRate().numerator;
    frame.frame_rate_D = FrameRate().denominator;
    frame.frame_format_type = NDIlib_frame_format_type_progressive;
    frame.timecode = NDIlib_send_timecode_synthesize;
    return frame;
}

/// Announces `exact`, or the rate of initialVideoFrame().
inline void announceRate(NDIlib_video_frame_v2_t& frame, const std::optional<FrameRate>& exact) {
    const FrameRate rate = exact.value_or(FrameRate());
    frame.frame_rate_N = rate.numerator;
    frame.frame_rate_D = rate.denominator;
}

}  // namespace sender
