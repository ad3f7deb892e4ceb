#pragma once
// Frames for the encoder's tests.

#include <cstdint>
#include <random>
#include <vector>

#include "speedhq/frameencoder.h"
#include "support/libavspeedhq.h"

namespace tests {

/// A frame, grey at first; `gap` bytes between its rows.
struct TestFrame {
    TestFrame(speedhq::PixelFormat pixelFormat, int frameWidth, int frameHeight, int gap = 0);

    [[nodiscard]] speedhq::FrameView view() const;
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

void paint(TestFrame& frame, Content content, std::mt19937& random);

/// Changes a few rectangles, one of them perhaps a single pixel. Returns the rows that may differ.
support::DirtyRows damage(TestFrame& frame, std::mt19937& random);

/// What the encoder should make of the frame before it transforms it, by the stated rule and in
/// floating point; the width rounded up to 16 with the last column repeated.
Planes expectedPlanes(TestFrame& frame);

}  // namespace tests
