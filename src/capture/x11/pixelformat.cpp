#include "capture/x11/pixelformat.h"

#include <cstring>

namespace capture::x11 {
namespace {

const xcb_visualtype_t* findVisual(const xcb_screen_t& screen, xcb_visualid_t id) {
    for (auto depth = xcb_screen_allowed_depths_iterator(&screen); depth.rem > 0;
         xcb_depth_next(&depth)) {
        for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem > 0;
             xcb_visualtype_next(&visual)) {
            if (visual.data->visual_id == id) {
                return visual.data;
            }
        }
    }
    return nullptr;
}

const xcb_format_t* findFormat(const xcb_setup_t& setup, std::uint8_t depth) {
    for (auto format = xcb_setup_pixmap_formats_iterator(&setup); format.rem > 0;
         xcb_format_next(&format)) {
        if (format.data->depth == depth) {
            return format.data;
        }
    }
    return nullptr;
}

/// BGRX to BGRA. memcpy allows unaligned memory, and the compiler still vectorises the loop.
void makeOpaque(const std::uint8_t* source, std::uint8_t* dest, std::size_t pixels) {
    for (std::size_t i = 0; i < pixels; ++i) {
        std::uint32_t pixel = 0;
        std::memcpy(&pixel, source + i * 4, 4);
        pixel |= 0xFF000000U;
        std::memcpy(dest + i * 4, &pixel, 4);
    }
}

}  // namespace

PixelFormat::Channel::Channel(std::uint32_t mask) {
    while (mask != 0 && (mask & 1) == 0) {
        mask >>= 1;
        ++shift;
    }
    highest = mask;
    levels.resize(std::size_t{highest} + 1);
    for (std::uint32_t level = 0; highest > 0 && level <= highest; ++level) {
        levels[level] = static_cast<std::uint8_t>((level * 255 + highest / 2) / highest);
    }
}

std::optional<PixelFormat> PixelFormat::of(const xcb_setup_t& setup, const xcb_screen_t& screen) {
    const auto* visual = findVisual(screen, screen.root_visual);
    const auto* format = findFormat(setup, screen.root_depth);
    if (visual == nullptr || format == nullptr ||
        (visual->_class != XCB_VISUAL_CLASS_TRUE_COLOR &&
         visual->_class != XCB_VISUAL_CLASS_DIRECT_COLOR) ||
        (format->bits_per_pixel != 16 && format->bits_per_pixel != 32)) {
        return {};
    }
    PixelFormat result;
    result.m_bytesPerPixel = format->bits_per_pixel / 8;
    result.m_rowPadding = std::size_t{format->scanline_pad} / 8;
    result.m_highByteFirst = setup.image_byte_order == XCB_IMAGE_ORDER_MSB_FIRST;
    result.m_isBgrx = result.m_bytesPerPixel == 4 && !result.m_highByteFirst &&
                      visual->red_mask == 0xFF0000 && visual->green_mask == 0xFF00 &&
                      visual->blue_mask == 0xFF;
    result.m_red = Channel(visual->red_mask);
    result.m_green = Channel(visual->green_mask);
    result.m_blue = Channel(visual->blue_mask);
    return result;
}

std::size_t PixelFormat::rowBytes(int width) const {
    const auto packed = static_cast<std::size_t>(width) * static_cast<std::size_t>(m_bytesPerPixel);
    return (packed + m_rowPadding - 1) / m_rowPadding * m_rowPadding;
}

template <int BytesPerPixel>
void PixelFormat::convertRow(const std::uint8_t* source, std::uint8_t* dest, int width) const {
    for (int i = 0; i < width; ++i, source += BytesPerPixel, dest += 4) {
        std::uint32_t pixel = 0;
        for (int byte = 0; byte < BytesPerPixel; ++byte) {
            const int place = m_highByteFirst ? BytesPerPixel - 1 - byte : byte;
            pixel |= std::uint32_t{source[byte]} << (8 * place);
        }
        dest[0] = m_blue.levels[pixel >> m_blue.shift & m_blue.highest];
        dest[1] = m_green.levels[pixel >> m_green.shift & m_green.highest];
        dest[2] = m_red.levels[pixel >> m_red.shift & m_red.highest];
        dest[3] = 255;
    }
}

void PixelFormat::convert(const std::uint8_t* source, std::size_t sourceStride, std::uint8_t* dest,
                          std::size_t destStride, int width, int rows) const {
    for (; rows > 0; --rows, source += sourceStride, dest += destStride) {
        if (m_isBgrx) {
            makeOpaque(source, dest, static_cast<std::size_t>(width));
        } else if (m_bytesPerPixel == 4) {
            convertRow<4>(source, dest, width);
        } else {
            convertRow<2>(source, dest, width);
        }
    }
}

}  // namespace capture::x11
