#pragma once
// A fake NDI library that records the frames sent through it.

#include <cstdint>
#include <functional>
#include <vector>

#include "ndi/ndilibrary.h"

namespace recording {

struct Sent {
    NDIlib_send_instance_t instance = nullptr;
    NDIlib_video_frame_v2_t frame{};  ///< p_data is no longer valid.
    std::vector<std::uint8_t> pixels;
    support::DirtyRows hint;  ///< Unknown without a hint.
};

/// Discards the records. From now on `whileSending` is called with each frame, on the sending
/// thread. Call it while no sender runs.
void begin(std::function<void(const Sent&)> whileSending = nullptr);

/// Whether the library is one that reads alpha bytes; true at first.
void setReadsAlpha(bool reads);

/// The number of frames since begin(), and the last one. Any thread.
int count();
Sent last();

/// Waits until the last frame sent `isWanted`; `count` includes it. False: not within
/// tests::kPatience. Any thread.
bool waitFor(const std::function<bool(const Sent&, int count)>& isWanted);

}  // namespace recording
