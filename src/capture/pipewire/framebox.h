#pragma once
// Where PipeWire's thread leaves frames and the sender's thread takes them.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "capture/pipewire/pixels.h"
#include "capture/pointer.h"
#include "capture/screencapturer.h"

struct pw_buffer;

namespace capture::pipewire {

/// Holds the newest frame, in the compositor's own buffer, and the rows that changed since the
/// last read. Each newer frame hands the older one's buffer back at once, so however slow the
/// reader is, the compositor lacks one buffer and no more.
///
/// Thread-safe. The lock is held while rows are copied: a frame that arrives meanwhile waits for
/// the end of that copy.
class FrameBox {
public:
    /// A newer frame. `damage` null: what changed is unknown. Returns the buffer that is no longer
    /// needed, null for none.
    [[nodiscard]] pw_buffer* put(pw_buffer* buffer, const Image& image,
                                 const std::vector<Damage>* damage);

    /// The pointer from now on, at its place in the upright frame.
    struct Pointer {
        bool visible = false;
        int x = 0;
        int y = 0;
    };
    /// `shape` null: the same image as before.
    void putPointer(const Pointer& pointer, const PointerShape* shape);

    /// Ends the frame if it is in `buffer`, whose memory goes away after this call. A copy is kept
    /// for still().
    void withdraw(const pw_buffer* buffer);

    /// Stands in for the first frame. Nothing happens when one is there.
    void show(StillFrame frame);

    /// The frame, or the latest one that there was.
    [[nodiscard]] StillFrame still() const;

    /// What is asked of a read, as ScreenCapturer::ReadScreenData().
    struct Request {
        int x = 0;
        int y = 0;
        int width = 0;
        int height = 0;
        std::uint8_t* dest = nullptr;
    };

    /// Copies what changed of the request's rectangle since the read before it, everything when
    /// that one was another request, and draws the pointer. False: nothing did, or there is no
    /// frame.
    [[nodiscard]] bool read(const Request& request, support::DirtyRows& dirtyRows);

    /// Waits until a frame has arrived that was not read, or the pointer has changed. False:
    /// `limit` passed.
    bool wait(std::chrono::milliseconds limit);

    /// The next read gets everything, whatever it has in common with the one before it.
    void forgetReads();

    /// Forgets the frame and everything about earlier reads.
    void clear();

    /// Size of the upright frame, nothing without one.
    [[nodiscard]] std::optional<std::pair<int, int>> size() const;

private:
    /// What two reads have in common when the second one may build on the first.
    struct Read {
        Cut cut;
        int requestedWidth = 0;
        const std::uint8_t* dest = nullptr;

        bool operator==(const Read& other) const {
            return cut == other.cut && requestedWidth == other.requestedWidth && dest == other.dest;
        }
    };

    /// The dirty columns [left, right) of a row; none when right is 0.
    struct Columns {
        int left = 0;
        int right = 0;
    };

    void markAll();
    void mark(const std::vector<Damage>& damage);
    void drawPointer(const DrawnPointer::Frame& frame, const Cut& cut);
    void copySpans(const Cut& cut, std::uint8_t* dest);
    [[nodiscard]] bool hasFrame() const { return m_image.pixels != nullptr; }
    [[nodiscard]] StillFrame copyOfFrame() const;

    mutable std::mutex m_mutex;
    std::condition_variable m_arrived;
    pw_buffer* m_buffer = nullptr;
    Image m_image;                 ///< In m_buffer, or in m_still while show() stands in.
    StillFrame m_still;            ///< A copy of the frame that was withdrawn, until the next one.
    std::vector<Columns> m_dirty;  ///< One for each row of the upright frame.
    support::RowSpan m_touched;    ///< The rows outside it are not dirty.
    bool m_damageKnown = false;    ///< For all frames since the last read.
    bool m_unread = false;
    std::optional<Read> m_lastRead;
    std::vector<support::RowSpan> m_spans;  ///< Of the read under way.
    Pointer m_pointer;
    PointerShape m_shape;
    bool m_pointerChanged = false;  ///< Since the last read.
    DrawnPointer m_drawn;
};

}  // namespace capture::pipewire
