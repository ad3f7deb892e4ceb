#pragma once
// Reads pixels of the root window.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "capture/x11/dirtyrects.h"
#include "capture/x11/pixelformat.h"
#include "capture/x11/sharedsegment.h"
#include "support/x11/connection.h"

namespace capture::x11 {

/// Fetches rectangles of the screen, without the pointer: through shared memory, or in the server's
/// replies where memory can't be shared. Must not outlive its connection.
///
/// The functions take rectangles inside an area, no two sharing a row. A result of false means that
/// at least one could not be read (the screen may have shrunk, or the server is gone); the
/// destination then mixes old and new rows.
class RootReader {
public:
    RootReader(support::x11::Connection& connection, PixelFormat format);

    /// Fetches `rects` as opaque BGRA to their place in `dest`, which holds `area` with rows of
    /// `destStride` bytes.
    [[nodiscard]] bool read(const std::vector<Rect>& rects, const Rect& area, std::uint8_t* dest,
                            std::size_t destStride);

    /// Memory for a frame of `area` that the server can write to: BGRA in packed rows with
    /// undefined alpha. Null when memory can't be shared or the server has another pixel format. It
    /// moves only when `area` has another size than at the last call.
    [[nodiscard]] std::uint8_t* frame(const Rect& area);

    /// Fetches `rects` into frame(area). The server writes rectangles of the area's full width to
    /// their place itself; narrower ones are copied.
    [[nodiscard]] bool readIntoFrame(const std::vector<Rect>& rects, const Rect& area);

    /// readIntoFrame() in two halves, so that other requests can share its round trip. Of narrower
    /// rectangles only what they have in common with one of `used` is copied.
    void requestIntoFrame(const std::vector<Rect>& rects, const Rect& area);
    [[nodiscard]] bool receiveIntoFrame(const std::vector<Rect>& rects,
                                        const std::vector<Rect>& used, const Rect& area);

    /// Fetches `rows`, each one pixel high, and compares their colours with `pixels`, which hold
    /// `area` as read() or readIntoFrame() left it. The first row that differs, in root
    /// coordinates; nothing when none does or none can be read.
    [[nodiscard]] std::optional<int> firstDifference(const std::vector<Rect>& rows,
                                                     const Rect& area, const std::uint8_t* pixels,
                                                     std::size_t stride);

private:
    /// A requested rectangle.
    struct Pending {
        unsigned sequence = 0;
        const std::uint8_t* pixels = nullptr;  ///< Shared memory, or null: they are in the reply.
    };

    [[nodiscard]] bool reserve(std::unique_ptr<SharedSegment>& segment, std::size_t bytes);
    [[nodiscard]] Pending requestShared(const Rect& rect, const SharedSegment& segment,
                                        std::size_t offset);
    [[nodiscard]] Pending requestReply(const Rect& rect);
    void request(const std::vector<Rect>& rects, const Rect& area);
    template <typename Use>
    [[nodiscard]] bool receive(const Rect& rect, const Pending& pending, Use use);
    void copyIntoFrame(const std::uint8_t* pixels, const Rect& rect, const Rect& part,
                       const Rect& area);

    support::x11::Connection& m_connection;
    PixelFormat m_format;
    std::unique_ptr<SharedSegment> m_frame;    ///< Holds frame().
    std::unique_ptr<SharedSegment> m_scratch;  ///< Receives rectangles that are then copied.
    bool m_canShare = true;
    std::vector<Pending> m_pending;
    std::vector<std::uint8_t> m_row;
};

}  // namespace capture::x11
