#include "capture/pointer.h"

#include <algorithm>
#include <cstring>

namespace capture {
namespace {

constexpr std::uint32_t kOpaque = 0xFF000000;
constexpr std::uint32_t kColour = 0x00FFFFFF;

/// value * factor / 255, rounded to nearest.
std::uint32_t scaled(std::uint32_t value, std::uint32_t factor) {
    return (value * factor + 127) / 255;
}

std::uint32_t premultiplied(std::uint32_t straight) {
    const std::uint32_t alpha = straight >> 24U;
    std::uint32_t result = alpha << 24U;
    for (const unsigned shift : {0U, 8U, 16U}) {
        result |= scaled(straight >> shift & 0xFFU, alpha) << shift;
    }
    return result;
}

std::uint32_t blended(std::uint32_t under, std::uint32_t over) {
    const std::uint32_t through = 255 - (over >> 24U);
    std::uint32_t result = kOpaque;
    for (const unsigned shift : {0U, 8U, 16U}) {
        const std::uint32_t sum = (over >> shift & 0xFFU) + scaled(under >> shift & 0xFFU, through);
        result |= std::min(sum, 255U) << shift;
    }
    return result;
}

std::uint32_t load(const std::uint8_t* at) {
    return at[0] | std::uint32_t{at[1]} << 8U | std::uint32_t{at[2]} << 16U |
           std::uint32_t{at[3]} << 24U;
}

PointerShape sized(int width, int height) {
    PointerShape shape;
    shape.width = width;
    shape.height = height;
    shape.colours.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    return shape;
}

/// Calls `use` with the index of each pixel and where its 4 bytes are.
template <typename Use>
void forEachPixel(const PointerShape& shape, const std::uint8_t* rows, std::size_t stride,
                  Use use) {
    std::size_t index = 0;
    for (int y = 0; y < shape.height; ++y, rows += stride) {
        for (int x = 0; x < shape.width; ++x, ++index) {
            use(index, rows + std::ptrdiff_t{4} * x);
        }
    }
}

std::uint8_t* at(const DrawnPointer::Frame& frame, int x, int y) {
    return frame.pixels + static_cast<std::size_t>(y) * frame.stride +
           static_cast<std::size_t>(x) * 4;
}

}  // namespace

bool PointerShape::operator==(const PointerShape& other) const {
    return width == other.width && height == other.height && hotX == other.hotX &&
           hotY == other.hotY && colours == other.colours && inverted == other.inverted;
}

PointerShape monochromePointer(const std::uint8_t* masks, std::size_t stride, int width,
                               int height) {
    PointerShape shape = sized(width, height);
    shape.inverted.resize(shape.colours.size());
    std::size_t index = 0;
    for (int y = 0; y < height; ++y) {
        const std::uint8_t* const keeps = masks + static_cast<std::size_t>(y) * stride;
        const std::uint8_t* const inverts = masks + static_cast<std::size_t>(y + height) * stride;
        for (int x = 0; x < width; ++x, ++index) {
            const unsigned bit = 0x80U >> (static_cast<unsigned>(x) % 8U);
            shape.colours[index] = (keeps[x / 8] & bit) != 0 ? 0 : kOpaque;
            shape.inverted[index] = (inverts[x / 8] & bit) != 0 ? kColour : 0;
        }
    }
    return shape;
}

PointerShape colourPointer(const std::uint8_t* bgra, std::size_t stride, int width, int height) {
    PointerShape shape = sized(width, height);
    forEachPixel(shape, bgra, stride, [&shape](std::size_t index, const std::uint8_t* pixel) {
        shape.colours[index] = premultiplied(load(pixel));
    });
    return shape;
}

PointerShape maskedColourPointer(const std::uint8_t* bgrm, std::size_t stride, int width,
                                 int height) {
    PointerShape shape = sized(width, height);
    shape.inverted.resize(shape.colours.size());
    forEachPixel(shape, bgrm, stride, [&shape](std::size_t index, const std::uint8_t* pixel) {
        const std::uint32_t colour = load(pixel) & kColour;
        const bool inverts = pixel[3] != 0;
        shape.colours[index] = inverts ? 0 : kOpaque | colour;
        shape.inverted[index] = inverts ? colour : 0;
    });
    return shape;
}

void DrawnPointer::draw(const PointerShape& shape, int x, int y, const Frame& frame) {
    const int left = x - shape.hotX;
    const int top = y - shape.hotY;
    const int firstX = std::max(left, 0);
    const int firstY = std::max(top, 0);
    const int lastX = std::min(left + shape.width, frame.width);
    const int lastY = std::min(top + shape.height, frame.height);
    m_hidden.clear();
    if (firstX >= lastX || firstY >= lastY) {
        m_part = {0, 0, 0, 0};
        return;
    }
    m_part = {firstY, lastY - firstY, firstX, lastX};
    for (int row = firstY; row < lastY; ++row) {
        std::size_t index =
            static_cast<std::size_t>(row - top) * static_cast<std::size_t>(shape.width) +
            static_cast<std::size_t>(firstX - left);
        for (int column = firstX; column < lastX; ++column, ++index) {
            std::uint8_t* const pixel = at(frame, column, row);
            const std::uint32_t under = load(pixel);
            m_hidden.push_back(under);
            std::uint32_t shown = blended(under, shape.colours[index]);
            shown ^= shape.inverted.empty() ? 0 : shape.inverted[index];
            std::memcpy(pixel, &shown, sizeof shown);
        }
    }
}

void DrawnPointer::remove(const Frame& frame) {
    const std::uint32_t* hidden = m_hidden.data();
    const int width = m_part.right - m_part.left;
    for (int row = m_part.first; row < m_part.first + m_part.count; ++row, hidden += width) {
        std::memcpy(at(frame, m_part.left, row), hidden, static_cast<std::size_t>(width) * 4);
    }
    forget();
}

void addDirty(support::DirtyRows& dirty, const support::RowSpan& part) {
    if (!dirty.known || part.count == 0) {
        return;
    }
    support::RowSpan all = part;
    const auto joined = [&all](const support::RowSpan& span) {
        if (span.first >= all.first + all.count || all.first >= span.first + span.count) {
            return false;
        }
        const int end = std::max(all.first + all.count, span.first + span.count);
        all.first = std::min(all.first, span.first);
        all.count = end - all.first;
        all.left = std::min(all.left, span.left);
        all.right = std::max(all.right, span.right);
        return true;
    };
    // Spans have no row in common, so those that touch the part only touch its own rows, and what
    // they extend it by touches no other span.
    auto& spans = dirty.spans;
    spans.erase(std::remove_if(spans.begin(), spans.end(), joined), spans.end());
    const auto place =
        std::find_if(spans.begin(), spans.end(),
                     [&all](const support::RowSpan& span) { return span.first > all.first; });
    spans.insert(place, all);
}

}  // namespace capture
