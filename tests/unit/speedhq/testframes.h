#pragma once
// Test frames for the encoder.

#include <cstdint>
#include <random>
#include <vector>

#include "speedhq/frameencoder.h"
#include "support/libavspeedhq.h"

namespace tests {

/// A frame, initially grey, with `gap` bytes between its rows.
struct TestFrame {
    TestFrame(speedhq::PixelFormat pixelFormat, int frameWidth, int frameHeight, int gap = 0);

    [[nodiscard]] speedhq::FrameView view() const;
    /// The address of a pixel; in UYVY that of its pair of pixels.
    [[nodiscard]] std::uint8_t* at(int x, int y);

    speedhq::PixelFormat format;
    int width;
    int height;
    int lineBytes;
    std::ptrdiff_t stride;
    std::vector<std::uint8_t> bytes;
    speedhq::ColourChoice colours = speedhq::ColourChoice::Automatic;
};

enum class Content {
    Mixed,       ///< Flat areas, edges, ramps and some noise.
    Noise,       ///< Every byte random.
    BlackWhite,  ///< Every byte 0 or 255: the largest levels.
};

void paint(TestFrame& frame, Content content, std::mt19937& random);

/// Changes up to three rectangles, some of them a single pixel. Returns the dirty rows,
/// some with columns.
support::DirtyRows damage(TestFrame& frame, std::mt19937& random);

/// The 4:2:2 samples that the encoder should transform, computed in floating point from the
/// coefficients that BT.601, BT.709 and BT.2020 publish. The width is
/// rounded up to 16, the last column repeated.
Planes expectedPlanes(TestFrame& frame);

[[nodiscard]] std::vector<std::uint8_t> bytesOf(const speedhq::EncodedFramePtr& packet);

}  // namespace tests
