#pragma once
// The four NDI functions, keeping what the senders hand to them. Any thread.

#include <cstdint>
#include <functional>
#include <vector>

#include "ndi/ndilib.h"

namespace recording {

struct Sent {
    NDIlib_send_instance_t instance = nullptr;
    NDIlib_video_frame_v2_t frame{};
    std::vector<std::uint8_t> pixels;
};

void clear();
int count();
Sent last();

/// Waits for a frame, sent from now on, that `isWanted`; `count` includes it. False: none within
/// ten seconds.
bool waitFor(const std::function<bool(const Sent&, int count)>& isWanted);

/// How long a send takes from now on.
void setSendTime(int milliseconds);

}  // namespace recording
