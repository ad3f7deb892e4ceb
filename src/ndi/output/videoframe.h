#pragma once
// Checks a frame that comes through the C interface.

#include <string>

#include "ndi/ndilib.h"
#include "speedhq/frameencoder.h"

namespace ndi {

inline constexpr int kMaxFrameSide = 8192;

/// Reads `frame` into `view`, which then refers to its pixels. Empty when the frame can be sent,
/// else the error for the log.
[[nodiscard]] std::string checkFrame(const NDIlib_video_frame_v2_t* frame,
                                     speedhq::FrameView& view);

}  // namespace ndi
