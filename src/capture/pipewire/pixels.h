#pragma once
// From a mapped frame of a compositor to upright, opaque BGRA.

#include <cstddef>
#include <cstdint>

#include "capture/cutrectangle.h"
#include "support/dirtyrows.h"

namespace capture::pipewire {

/// Bytes of a pixel in memory order; x is padding or alpha, neither is read.
enum class PixelOrder { Bgrx, Rgbx, Xrgb };

/// How the compositor turned the frame, with the numbers of PipeWire's SPA_META_TRANSFORMATION:
/// degrees counter-clockwise; "flipped" mirrors left and right before it turns.
enum class Transform {
    None = 0,
    Rotated90 = 1,
    Rotated180 = 2,
    Rotated270 = 3,
    Flipped = 4,
    Flipped90 = 5,
    Flipped180 = 6,
    Flipped270 = 7
};

/// A frame, already cropped, as it lies in memory. 4 bytes a pixel.
struct Image {
    const std::uint8_t* pixels = nullptr;
    std::size_t stride = 0;  ///< Bytes from one row to the next; any value.
    int width = 0;
    int height = 0;
    PixelOrder order = PixelOrder::Bgrx;
    Transform transform = Transform::None;
};

/// A rectangle in the pixels of an Image.
struct Damage {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
};

/// Size of the image once it stands upright.
[[nodiscard]] int uprightWidth(const Image& image);
[[nodiscard]] int uprightHeight(const Image& image);

/// The rows and columns of the upright image that `damage` touches, cut at its edges.
[[nodiscard]] support::RowSpan uprightSpan(const Image& image, const Damage& damage);

/// Copies `span` (relative to `cut` and inside it) of the part `cut` of the upright image to its
/// place in `dest`, which holds all of `cut`: BGRA with alpha 255, rows packed.
void copyUpright(const Image& image, const Cut& cut, const support::RowSpan& span,
                 std::uint8_t* dest);

}  // namespace capture::pipewire
