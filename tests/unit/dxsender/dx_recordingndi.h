#pragma once
// An NDI library that keeps what it is sent.

#include <cstdint>
#include <functional>
#include <vector>

#include "ndi/ndilibrary.h"

namespace tests {

struct SentPicture {
    NDIlib_send_instance_t instance = nullptr;
    NDIlib_video_frame_v2_t frame = {};  ///< p_data is not valid any more.
    std::vector<std::uint8_t> pixels;
    support::ChangedRows hint;  ///< Unknown when there was none.
};

/// Called on the sending thread with each picture; empty: pictures are dropped. Set it while no
/// sender runs.
extern std::function<void(SentPicture)> g_onPicture;

}  // namespace tests
