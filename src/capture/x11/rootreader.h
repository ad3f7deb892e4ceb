#pragma once
// Reads pixels of the root window as opaque BGRA.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "capture/x11/dirtyrects.h"
#include "capture/x11/pixelformat.h"
#include "capture/x11/sharedsegment.h"
#include "support/x11/connection.h"

namespace capture::x11 {

/// Fetches rectangles of the screen, without the pointer: through shared memory, or in the server's
/// replies where memory can't be shared. Must not outlive its connection.
class RootReader {
public:
    RootReader(support::x11::Connection& connection, PixelFormat format);

    /// Fetches `rects`, all inside `area` and no two sharing a row, to their place in `dest`, which
    /// holds `area` with rows of `destStride` bytes. False: at least one failed (the screen may
    /// have shrunk, or the server is gone), and `dest` mixes old and new rows.
    [[nodiscard]] bool read(const std::vector<Rect>& rects, const Rect& area, std::uint8_t* dest,
                            std::size_t destStride);

private:
    /// A requested rectangle.
    struct Pending {
        unsigned sequence = 0;
        std::size_t offset = 0;  ///< In the segment.
    };

    void reserve(std::size_t bytes);
    void request(const std::vector<Rect>& rects);
    [[nodiscard]] bool receive(const Rect& rect, const Pending& pending, std::uint8_t* dest,
                               std::size_t destStride);

    support::x11::Connection& m_connection;
    PixelFormat m_format;
    std::unique_ptr<SharedSegment> m_segment;
    bool m_canShare = true;
    std::vector<Pending> m_pending;
};

}  // namespace capture::x11
