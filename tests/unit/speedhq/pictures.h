#pragma once
// Pictures for the encoder's tests.

#include <cstdint>
#include <random>
#include <vector>

#include "speedhq/frameencoder.h"
#include "support/libavspeedhq.h"

namespace testing_support {

/// A picture, grey at first; `gap` bytes between its rows.
struct Picture {
    Picture(speedhq::PixelFormat pixelFormat, int pictureWidth, int pictureHeight, int gap = 0);

    [[nodiscard]] speedhq::PictureView view() const;
    /// The pixel, or in UYVY the pair it belongs to when `x` is even.
    [[nodiscard]] std::uint8_t* at(int x, int y);

    speedhq::PixelFormat format;
    int width;
    int height;
    int lineBytes;
    std::ptrdiff_t stride;
    std::vector<std::uint8_t> bytes;
};

enum class Content {
    Mixed,       ///< Flat areas, edges, ramps and some noise: most ways through the encoder.
    Noise,       ///< Every byte random.
    BlackWhite,  ///< Every byte 0 or 255: the largest levels.
};

void paint(Picture& picture, Content content, std::mt19937& random);

/// Changes a few rectangles, one of them perhaps a single pixel. Returns the rows that may differ.
support::ChangedRows damage(Picture& picture, std::mt19937& random);

/// What the encoder should make of the picture before it transforms it, by the stated rule and in
/// floating point; the width rounded up to 16 with the last column repeated.
Planes expectedPlanes(Picture& picture);

}  // namespace testing_support
