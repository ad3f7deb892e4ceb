#include "capture/pipewire/pixels.h"

#include <algorithm>
#include <cstring>

namespace capture::pipewire {
namespace {

constexpr std::uint32_t kOpaque = 0xFF000000U;

/// Side of the squares in which a turned image is copied: a column of source rows stays in the
/// first-level cache.
constexpr int kTile = 32;

bool turned(Transform transform) {
    return (static_cast<unsigned>(transform) & 1) != 0;
}

/// Where the upright image's pixels lie: pixel (X, Y) is at `origin` + X * `right` + Y * `down`.
struct Layout {
    std::ptrdiff_t origin = 0;
    std::ptrdiff_t right = 0;
    std::ptrdiff_t down = 0;
};

Layout layoutOf(const Image& image) {
    const std::ptrdiff_t x = 4;
    const auto y = static_cast<std::ptrdiff_t>(image.stride);
    const std::ptrdiff_t lastX = x * (image.width - 1);
    const std::ptrdiff_t lastY = y * (image.height - 1);
    switch (image.transform) {
        case Transform::None:
            break;
        case Transform::Rotated90:
            return {lastY, -y, x};
        case Transform::Rotated180:
            return {lastX + lastY, -x, -y};
        case Transform::Rotated270:
            return {lastX, y, -x};
        case Transform::Flipped:
            return {lastX, -x, y};
        case Transform::Flipped90:
            return {0, y, x};
        case Transform::Flipped180:
            return {lastY, x, -y};
        case Transform::Flipped270:
            return {lastX + lastY, -y, -x};
    }
    return {0, x, y};
}

template <PixelOrder Order>
std::uint32_t toBgra(std::uint32_t pixel) {
    if constexpr (Order == PixelOrder::Rgbx) {
        pixel = (pixel & 0xFF00U) | (pixel & 0xFFU) << 16 | (pixel >> 16 & 0xFFU);
    } else if constexpr (Order == PixelOrder::Xrgb) {
        pixel = pixel >> 24 | (pixel >> 8 & 0xFF00U) | (pixel << 8 & 0xFF0000U);
    }
    return pixel | kOpaque;
}

template <PixelOrder Order>
void copyPixel(const std::uint8_t* source, std::uint8_t* dest) {
    std::uint32_t pixel = 0;
    std::memcpy(&pixel, source, 4);
    pixel = toBgra<Order>(pixel);
    std::memcpy(dest, &pixel, 4);
}

/// `right` is known where rows stay rows, so that the compiler makes vectors of the loop.
template <PixelOrder Order>
void copyRow(const std::uint8_t* source, std::ptrdiff_t right, std::uint8_t* dest, int width) {
    if (right == 4) {
        for (std::ptrdiff_t x = 0; x < width; ++x) {
            copyPixel<Order>(source + x * 4, dest + x * 4);
        }
        return;
    }
    for (std::ptrdiff_t x = 0; x < width; ++x) {
        copyPixel<Order>(source + x * right, dest + x * 4);
    }
}

/// `source` and `dest` are those of the first pixel of the first row.
template <PixelOrder Order>
void copyRows(const std::uint8_t* source, const Layout& layout, int width, int height, bool byTiles,
              std::uint8_t* dest, std::ptrdiff_t destStride) {
    const int tileWidth = byTiles ? kTile : width;
    const int tileHeight = byTiles ? kTile : height;
    for (int top = 0; top < height; top += tileHeight) {
        const int bottom = std::min(top + tileHeight, height);
        for (int left = 0; left < width; left += tileWidth) {
            const int columns = std::min(tileWidth, width - left);
            for (int y = top; y < bottom; ++y) {
                copyRow<Order>(source + left * layout.right + y * layout.down, layout.right,
                               dest + y * destStride + std::ptrdiff_t{4} * left, columns);
            }
        }
    }
}

/// Pixels [begin, end) of an axis.
struct Range {
    int begin = 0;
    int end = 0;
};

/// The part of an axis of `limit` pixels that a rectangle covers, counted from its far end when
/// `mirrored`.
Range rangeOf(int position, int length, int limit, bool mirrored) {
    const int begin = std::clamp(position, 0, limit);
    const auto end =
        static_cast<int>(std::clamp<std::int64_t>(std::int64_t{position} + length, begin, limit));
    return mirrored ? Range{limit - end, limit - begin} : Range{begin, end};
}

}  // namespace

int uprightWidth(const Image& image) {
    return turned(image.transform) ? image.height : image.width;
}

int uprightHeight(const Image& image) {
    return turned(image.transform) ? image.width : image.height;
}

support::RowSpan uprightSpan(const Image& image, const Damage& damage) {
    const bool swapped = turned(image.transform);
    const Layout layout = layoutOf(image);
    const Range x =
        rangeOf(damage.x, damage.width, image.width, (swapped ? layout.down : layout.right) < 0);
    const Range y =
        rangeOf(damage.y, damage.height, image.height, (swapped ? layout.right : layout.down) < 0);
    const Range& rows = swapped ? x : y;
    const Range& columns = swapped ? y : x;
    return {rows.begin, rows.end - rows.begin, columns.begin, columns.end};
}

void copyUpright(const Image& image, const Cut& cut, const support::RowSpan& span,
                 std::uint8_t* dest) {
    const Layout layout = layoutOf(image);
    const std::ptrdiff_t destStride = std::ptrdiff_t{4} * cut.width;
    const std::uint8_t* source = image.pixels + layout.origin + (cut.x + span.left) * layout.right +
                                 (cut.y + span.first) * layout.down;
    dest += destStride * span.first + std::ptrdiff_t{4} * span.left;
    const int width = span.right - span.left;
    const bool byTiles = turned(image.transform);
    switch (image.order) {
        case PixelOrder::Bgrx:
            return copyRows<PixelOrder::Bgrx>(source, layout, width, span.count, byTiles, dest,
                                              destStride);
        case PixelOrder::Rgbx:
            return copyRows<PixelOrder::Rgbx>(source, layout, width, span.count, byTiles, dest,
                                              destStride);
        case PixelOrder::Xrgb:
            return copyRows<PixelOrder::Xrgb>(source, layout, width, span.count, byTiles, dest,
                                              destStride);
    }
}

}  // namespace capture::pipewire
