#pragma once
// The NDI library's functions, keeping what the senders hand to them.

#include <cstdint>
#include <functional>
#include <vector>

#include "ndi/ndilibrary.h"

namespace recording {

struct Sent {
    NDIlib_send_instance_t instance = nullptr;
    NDIlib_video_frame_v2_t frame{};  ///< p_data is not valid any more.
    std::vector<std::uint8_t> pixels;
    support::DirtyRows hint;  ///< Unknown when there was none.
};

/// Forgets what was sent; from now on `whileSending` is called on the sending thread with each
/// frame. Call it while no sender runs.
void begin(std::function<void(const Sent&)> whileSending = nullptr);

/// Whether the library is one that reads alpha bytes; true at first.
void setReadsAlpha(bool reads);

/// Of the frames since begin(). Any thread.
int count();
Sent last();

/// Waits until the last frame sent `isWanted`; `count` includes it. False: not within
/// tests::kPatience. Any thread.
bool waitFor(const std::function<bool(const Sent&, int count)>& isWanted);

}  // namespace recording
