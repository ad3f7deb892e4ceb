#include "capture/pipewire/pointermeta.h"

#include <spa/buffer/meta.h>
#include <spa/param/video/raw.h>

#include <array>
#include <cstring>
#include <optional>

namespace capture::pipewire {
namespace {

/// Where a pixel of four bytes has its blue, green, red and alpha.
using Places = std::array<std::size_t, 4>;

std::optional<Places> placesOf(std::uint32_t format) {
    switch (format) {
        case SPA_VIDEO_FORMAT_BGRA:
            return Places{0, 1, 2, 3};
        case SPA_VIDEO_FORMAT_RGBA:
            return Places{2, 1, 0, 3};
        case SPA_VIDEO_FORMAT_ARGB:
            return Places{3, 2, 1, 0};
        case SPA_VIDEO_FORMAT_ABGR:
            return Places{1, 2, 3, 0};
        default:
            return {};
    }
}

/// Compositors send their cursors as they draw them: premultiplied.
void copyPixels(const std::uint8_t* source, std::size_t stride, const Places& places,
                PointerShape& shape) {
    shape.colours.clear();
    for (int y = 0; y < shape.height; ++y, source += stride) {
        const std::uint8_t* pixel = source;
        for (int x = 0; x < shape.width; ++x, pixel += 4) {
            std::uint32_t colour = 0;
            for (std::size_t i = 0; i < 4; ++i) {
                colour |= std::uint32_t{pixel[places[i]]} << (8 * i);
            }
            shape.colours.push_back(colour);
        }
    }
}

/// False: no image that can be read. One without pixels is invisible.
bool readShape(const std::uint8_t* data, std::size_t bytes, const spa_meta_cursor& cursor,
               PointerShape& shape) {
    spa_meta_bitmap bitmap{};
    const std::size_t at = cursor.bitmap_offset;
    if (at < sizeof cursor || at > bytes || bytes - at < sizeof bitmap) {
        return false;
    }
    std::memcpy(&bitmap, data + at, sizeof bitmap);
    const std::size_t rest = bytes - at;
    const auto places = placesOf(bitmap.format);
    const std::size_t width = bitmap.size.width;
    const std::size_t height = bitmap.size.height;
    if (!places || width > kLargestPointer || height > kLargestPointer) {
        return false;
    }
    shape.hotX = cursor.hotspot.x;
    shape.hotY = cursor.hotspot.y;
    const bool empty = bitmap.offset == 0 || width == 0 || height == 0;
    if (empty) {
        shape.width = shape.height = 0;
        return true;
    }
    const auto stride = static_cast<std::size_t>(bitmap.stride);
    if (bitmap.stride < 0 || stride < width * 4 || bitmap.offset < sizeof bitmap ||
        bitmap.offset > rest || stride * (height - 1) + width * 4 > rest - bitmap.offset) {
        return false;
    }
    shape.width = static_cast<int>(width);
    shape.height = static_cast<int>(height);
    copyPixels(data + at + bitmap.offset, stride, *places, shape);
    return true;
}

}  // namespace

std::size_t pointerMetaBytes(std::size_t side) {
    return sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap) + side * side * 4;
}

bool readPointerMeta(const void* meta, std::size_t bytes, FrameBox::Pointer& pointer,
                     PointerShape& shape, bool& reshaped) {
    const auto* const data = static_cast<const std::uint8_t*>(meta);
    spa_meta_cursor cursor{};
    pointer = {};
    reshaped = false;
    if (bytes < sizeof cursor) {
        return false;
    }
    std::memcpy(&cursor, data, sizeof cursor);
    if (!spa_meta_cursor_is_valid(&cursor)) {
        return false;
    }
    pointer = {true, cursor.position.x, cursor.position.y};
    reshaped = readShape(data, bytes, cursor, shape);
    return true;
}

}  // namespace capture::pipewire
