#pragma once
// Turns images of screens that stand on their side. Images have pixels of 4 bytes.

#include <cstddef>
#include <cstdint>

#include "capture/cutrectangle.h"

namespace capture {

/// How far an image must be turned clockwise to be upright, in quarters of a turn.
enum class Rotation { None, Quarter, Half, ThreeQuarters };

[[nodiscard]] inline bool swapsSides(Rotation rotation) {
    return rotation == Rotation::Quarter || rotation == Rotation::ThreeQuarters;
}

/// An image before it is turned.
struct ImageView {
    const std::uint8_t* pixels = nullptr;
    std::size_t stride = 0;  ///< Bytes from one row to the next.
    int width = 0;           ///< Pixels.
    int height = 0;
};

/// Copies the rectangle `cut` of the upright image to `dest`: rows packed, every pixel opaque (its
/// fourth byte 255). `cut` lies inside the upright image.
void copyUpright(const ImageView& image, Rotation rotation, const Cut& cut, std::uint8_t* dest);

/// Where the rectangle `rect` of an image of width * height pixels is once the image is upright.
[[nodiscard]] Cut uprightRectangle(const Cut& rect, int width, int height, Rotation rotation);

}  // namespace capture
