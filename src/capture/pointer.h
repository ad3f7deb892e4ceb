#pragma once
// Draws the pointer into captured frames.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/dirtyrows.h"

namespace capture {

/// The image of a pointer. What it shows over a pixel of the screen is, for each channel,
///     (colour + pixel * (255 - alpha) / 255) XOR inverted.
struct PointerShape {
    int width = 0;
    int height = 0;
    int hotX = 0;  ///< The pixel of the image that is at the pointer's position.
    int hotY = 0;
    std::vector<std::uint32_t> colours;   ///< 0xAARRGGBB, premultiplied with alpha; rows packed.
    std::vector<std::uint32_t> inverted;  ///< 0x00RRGGBB; empty: nothing is inverted.

    bool operator==(const PointerShape& other) const;
};

/// The shapes that desktop duplication reports, by their formats as the platform documents them.
/// `stride` is in bytes; `height` is that of the pointer, and of each of the two masks.
///
/// Monochrome: a mask of one bit a pixel, the highest bit at the left, and below it another one.
/// The first says what of the screen stays (AND), the second what is inverted (XOR).
[[nodiscard]] PointerShape monochromePointer(const std::uint8_t* masks, std::size_t stride,
                                             int width, int height);
/// BGRA with straight alpha.
[[nodiscard]] PointerShape colourPointer(const std::uint8_t* bgra, std::size_t stride, int width,
                                         int height);
/// BGR and a mask byte: 0 replaces the pixel of the screen, 255 inverts it by the colour.
[[nodiscard]] PointerShape maskedColourPointer(const std::uint8_t* bgrm, std::size_t stride,
                                               int width, int height);

/// The pointer in a frame, and what it hides there. Not thread-safe.
class DrawnPointer {
public:
    /// A frame of BGRA, `stride` bytes from one row to the next.
    struct Frame {
        std::uint8_t* pixels = nullptr;
        std::size_t stride = 0;
        int width = 0;
        int height = 0;
    };

    /// Draws `shape` with its hot spot at x,y, which may be outside: the image is cut at the
    /// frame's edges. Nothing may be drawn there already. Drawn pixels are opaque.
    void draw(const PointerShape& shape, int x, int y, const Frame& frame);

    /// Puts back what was hidden. The frame is the one of draw().
    void remove(const Frame& frame);

    /// Forgets the frame, which was replaced as a whole.
    void forget() { m_part = {}; }

    /// The rows and columns where the pointer is drawn; without rows it is not.
    [[nodiscard]] const support::RowSpan& part() const { return m_part; }

private:
    support::RowSpan m_part = {0, 0, 0, 0};
    std::vector<std::uint32_t> m_hidden;
};

/// Adds a part to what a frame has that may differ from the frame before it.
void addDirty(support::DirtyRows& dirty, const support::RowSpan& part);

}  // namespace capture
