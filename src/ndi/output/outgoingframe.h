#pragma once

#include <array>
#include <cstddef>
#include <utility>

#include "ndi/wire/message.h"
#include "speedhq/frameencoder.h"

namespace ndi {

enum class Audience {
    All,                 ///< Whoever wants the stream.
    AwaitingFirstFrame,  ///< Who wants it and has not been offered a frame since.
};

/// A frame ready for the wire. Copies share the packet.
struct OutgoingFrame {
    wire::MessageHead head;
    speedhq::EncodedFramePtr packet;  ///< Null: none.
    bool repeat = false;              ///< The last frame once more: nothing is lost with it.
    Audience audience = Audience::All;
};

/// The newest frames that wait for somebody, in their order. Two of them, so that nothing is lost
/// when that somebody misses the moment of one frame on a busy machine.
class WaitingFrames {
public:
    /// True: a frame is lost by that, the oldest one, which had to make room.
    bool push(const OutgoingFrame& newer) {
        if (m_count > 0 && (newer.repeat || last().repeat)) {
            // The same frame once more, perhaps a better one of it, or a new one after a repeat.
            const bool forEverybody = last().audience == Audience::All;
            const bool repeat = newer.repeat && last().repeat;
            last() = newer;
            last().repeat = repeat;
            last().audience = forEverybody ? Audience::All : newer.audience;
            return false;
        }
        const bool full = m_count == m_frames.size();
        if (full) {
            pop();
        }
        m_frames[m_count++] = newer;
        return full;
    }

    /// Takes the oldest one out. Not when empty().
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
