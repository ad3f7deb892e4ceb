#pragma once
// Encoded frames on their way to the receivers.

#include <array>
#include <cstddef>
#include <utility>

#include "ndi/wire/message.h"
#include "speedhq/frameencoder.h"

namespace ndi {

enum class Audience {
    All,                 ///< Every receiver of the stream.
    AwaitingFirstFrame,  ///< Only those that still wait for their first frame.
};

/// A frame ready for the wire. Copies share the packet.
struct OutgoingFrame {
    wire::MessageHead head;
    speedhq::EncodedFramePtr packet;  ///< Null: none.
    bool repeat = false;              ///< The last frame again: dropping it loses nothing.
    Audience audience = Audience::All;
};

/// The newest frames that wait for one consumer, oldest first. Two of them, so that a consumer
/// that is late by one frame on a busy machine drops nothing.
class WaitingFrames {
public:
    /// True: two frames waited already and the oldest one was dropped.
    bool push(const OutgoingFrame& newer) {
        if (m_count > 0 && (newer.repeat || last().repeat)) {
            // A repeat of the frame that waits, perhaps in better quality, or the new frame after
            // a repeat: either one replaces it.
            const bool toAll = last().audience == Audience::All;
            const bool repeat = newer.repeat && last().repeat;
            last() = newer;
            last().repeat = repeat;
            last().audience = toAll ? Audience::All : newer.audience;
            return false;
        }
        const bool full = m_count == m_frames.size();
        if (full) {
            pop();
        }
        m_frames[m_count++] = newer;
        return full;
    }

    /// Removes the oldest one. Not when empty().
    OutgoingFrame pop() {
        OutgoingFrame oldest = std::move(m_frames[0]);
        m_frames[0] = std::move(m_frames[1]);
        m_frames[--m_count].packet = nullptr;
        return oldest;
    }

    void clear() {
        while (!empty()) {
            pop();
        }
    }

    [[nodiscard]] bool empty() const { return m_count == 0; }
    [[nodiscard]] const OutgoingFrame* begin() const { return m_frames.data(); }
    [[nodiscard]] const OutgoingFrame* end() const { return begin() + m_count; }

private:
    [[nodiscard]] OutgoingFrame& last() { return m_frames[m_count - 1]; }

    std::array<OutgoingFrame, 2> m_frames;
    std::size_t m_count = 0;
};

}  // namespace ndi
