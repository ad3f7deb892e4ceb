#pragma once
// A frame as it comes through the C interface, checked.

#include <string>

#include "ndi/ndilib.h"
#include "speedhq/frameencoder.h"

namespace ndi {

inline constexpr int kMaxFrameSide = 8192;

/// Reads `frame` into `view`. Empty when it can be sent, else what is wrong with it, in words.
[[nodiscard]] std::string checkFrame(const NDIlib_video_frame_v2_t* frame,
                                     speedhq::FrameView& view);

}  // namespace ndi
