#include "capture/pipewire/pixels.h"

#include <algorithm>

#include "capture/pipewire/copyrowloops.h"

namespace capture::pipewire {
namespace {

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

/// `source` and `dest` are those of the first pixel of the first row.
template <PixelOrder Order>
void copyTurned(const std::uint8_t* source, const Layout& layout, int width, int height,
                std::uint8_t* dest, std::ptrdiff_t destStride) {
    for (int top = 0; top < height; top += kTile) {
        const int bottom = std::min(top + kTile, height);
        for (int left = 0; left < width; left += kTile) {
            const int right = std::min(left + kTile, width);
            for (int y = top; y < bottom; ++y) {
                for (int x = left; x < right; ++x) {
                    copyPixel<Order>(source + x * layout.right + y * layout.down,
                                     dest + y * destStride + std::ptrdiff_t{4} * x);
                }
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
    if (layout.right == 4) {
        const CopyRow copyRow = copyRowOf(image.order);
        for (int y = 0; y < span.count; ++y, source += layout.down, dest += destStride) {
            copyRow(source, dest, static_cast<std::size_t>(width));
        }
        return;
    }
    switch (image.order) {
        case PixelOrder::Bgrx:
            return copyTurned<PixelOrder::Bgrx>(source, layout, width, span.count, dest,
                                                destStride);
        case PixelOrder::Rgbx:
            return copyTurned<PixelOrder::Rgbx>(source, layout, width, span.count, dest,
                                                destStride);
        case PixelOrder::Xrgb:
            return copyTurned<PixelOrder::Xrgb>(source, layout, width, span.count, dest,
                                                destStride);
    }
}

}  // namespace capture::pipewire
