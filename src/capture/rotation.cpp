#include "capture/rotation.h"

#include <algorithm>
#include <cstring>

namespace capture {
namespace {

constexpr std::uint32_t kOpaque = 0xFF000000;
constexpr std::ptrdiff_t kPixelBytes = 4;

/// Columns of the source are read in blocks of this many rows and columns: enough to use each
/// cache line whole, and few enough to keep all of them, because rows whose length is a power of
/// two compete for the same few places of the cache.
constexpr int kBlock = 8;

/// The pixel of the source for the first pixel of the result, and the way from one to the next, in
/// bytes: `right` to the result's next column, `down` to its next row.
struct Walk {
    const std::uint8_t* first = nullptr;
    std::ptrdiff_t right = 0;
    std::ptrdiff_t down = 0;
};

Walk walkOf(const ImageView& image, Rotation rotation) {
    const auto row = static_cast<std::ptrdiff_t>(image.stride);
    const auto lastRow = (image.height - 1) * row;
    const auto lastColumn = (image.width - 1) * kPixelBytes;
    switch (rotation) {
        case Rotation::Quarter:
            return {image.pixels + lastRow, -row, kPixelBytes};
        case Rotation::Half:
            return {image.pixels + lastRow + lastColumn, -kPixelBytes, -row};
        case Rotation::ThreeQuarters:
            return {image.pixels + lastColumn, row, -kPixelBytes};
        default:
            return {image.pixels, kPixelBytes, row};
    }
}

// memcpy allows unaligned memory, and the compiler still vectorises the loops that use it.
void copyPixel(const std::uint8_t* source, std::uint8_t* dest) {
    std::uint32_t pixel = 0;
    std::memcpy(&pixel, source, sizeof(pixel));
    pixel |= kOpaque;
    std::memcpy(dest, &pixel, sizeof(pixel));
}

void copyRow(const std::uint8_t* source, int pixels, std::uint8_t* dest) {
    for (std::ptrdiff_t i = 0; i < pixels; ++i) {
        copyPixel(source + i * kPixelBytes, dest + i * kPixelBytes);
    }
}

void copyRowBackwards(const std::uint8_t* source, int pixels, std::uint8_t* dest) {
    for (std::ptrdiff_t i = 0; i < pixels; ++i) {
        copyPixel(source - i * kPixelBytes, dest + i * kPixelBytes);
    }
}

void copyBlock(const Walk& walk, int width, int height, std::uint8_t* dest,
               std::ptrdiff_t destRow) {
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* source = walk.first + y * walk.down;
        for (int x = 0; x < width; ++x) {
            copyPixel(source + x * walk.right, dest + y * destRow + x * kPixelBytes);
        }
    }
}

void copyColumns(const Walk& walk, const Cut& cut, std::uint8_t* dest) {
    const std::ptrdiff_t destRow = cut.width * kPixelBytes;
    for (int y = 0; y < cut.height; y += kBlock) {
        for (int x = 0; x < cut.width; x += kBlock) {
            const Walk block = {walk.first + y * walk.down + x * walk.right, walk.right, walk.down};
            copyBlock(block, std::min(kBlock, cut.width - x), std::min(kBlock, cut.height - y),
                      dest + y * destRow + x * kPixelBytes, destRow);
        }
    }
}

}  // namespace

void copyUpright(const ImageView& image, Rotation rotation, const Cut& cut, std::uint8_t* dest) {
    Walk walk = walkOf(image, rotation);
    walk.first += cut.y * walk.down + cut.x * walk.right;
    if (swapsSides(rotation)) {
        copyColumns(walk, cut, dest);
        return;
    }
    auto* const copy = rotation == Rotation::Half ? copyRowBackwards : copyRow;
    for (int y = 0; y < cut.height; ++y) {
        copy(walk.first + y * walk.down, cut.width, dest + y * cut.width * kPixelBytes);
    }
}

Cut uprightRectangle(const Cut& rect, int width, int height, Rotation rotation) {
    const int right = width - rect.x - rect.width;
    const int bottom = height - rect.y - rect.height;
    switch (rotation) {
        case Rotation::Quarter:
            return {bottom, rect.x, rect.height, rect.width};
        case Rotation::Half:
            return {right, bottom, rect.width, rect.height};
        case Rotation::ThreeQuarters:
            return {rect.y, right, rect.height, rect.width};
        default:
            return rect;
    }
}

}  // namespace capture
