#pragma once

#include <array>
#include <cstddef>
#include <utility>

#include "ndi/wire/message.h"
#include "speedhq/frameencoder.h"

namespace ndi {

enum class Audience {
    Everybody,  ///< Whoever wants the stream.
    Hungry,     ///< Who wants it and has not been offered a picture since.
};

/// A picture ready for the wire. Copies share the packet.
struct OutgoingPicture {
    wire::MessageHead head;
    speedhq::EncodedPicturePtr picture;  ///< Null: none.
    bool repeat = false;                 ///< The last picture once more: nothing is lost with it.
    Audience audience = Audience::Everybody;
};

/// The newest pictures that wait for somebody, in their order. Two of them, so that nothing is lost
/// when that somebody misses the moment of one picture on a busy machine.
class WaitingPictures {
public:
    /// True: a picture is lost by that, the oldest one, which had to make room.
    bool push(const OutgoingPicture& newer) {
        if (m_count > 0 && (newer.repeat || last().repeat)) {
            // The same picture once more, perhaps a better one of it, or a new one after a repeat.
            const bool forEverybody = last().audience == Audience::Everybody;
            const bool repeat = newer.repeat && last().repeat;
            last() = newer;
            last().repeat = repeat;
            last().audience = forEverybody ? Audience::Everybody : newer.audience;
            return false;
        }
        const bool full = m_count == m_pictures.size();
        if (full) {
            pop();
        }
        m_pictures[m_count++] = newer;
        return full;
    }

    /// Takes the oldest one out. Not when empty().
    OutgoingPicture pop() {
        OutgoingPicture oldest = std::move(m_pictures[0]);
        m_pictures[0] = std::move(m_pictures[1]);
        m_pictures[--m_count].picture = nullptr;
        return oldest;
    }

    void clear() {
        while (!empty()) {
            pop();
        }
    }

    [[nodiscard]] bool empty() const { return m_count == 0; }
    [[nodiscard]] const OutgoingPicture* begin() const { return m_pictures.data(); }
    [[nodiscard]] const OutgoingPicture* end() const { return begin() + m_count; }

private:
    [[nodiscard]] OutgoingPicture& last() { return m_pictures[m_count - 1]; }

    std::array<OutgoingPicture, 2> m_pictures;
    std::size_t m_count = 0;
};

}  // namespace ndi
