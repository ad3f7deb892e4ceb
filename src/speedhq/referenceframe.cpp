#include "speedhq/referenceframe.h"

#include <algorithm>
#include <cstring>

namespace speedhq {

namespace {

// Bgra and Bgrx are encoded in the same way.
PixelFormat encodedFormat(PixelFormat format) {
    return format == PixelFormat::Uyvy ? format : PixelFormat::Bgra;
}

}  // namespace

bool ReferenceFrame::shapeLike(const FrameView& frame) {
    const PixelFormat format = encodedFormat(frame.format);
    if (m_pixels && format == m_format && frame.width == m_width && frame.height == m_height) {
        return false;
    }
    const bool uyvy = format == PixelFormat::Uyvy;
    m_format = format;
    m_width = frame.width;
    m_height = frame.height;
    m_columns = (m_width + 15) / 16;
    m_rows = (m_height + 15) / 16;
    m_blockBytes = uyvy ? 32 : 64;
    m_lineBytes = uyvy ? (m_width + 1) / 2 * 4 : m_width * 4;
    m_stride = static_cast<std::ptrdiff_t>(m_columns) * m_blockBytes;
    m_pixels.reset(
        new CacheLine[static_cast<std::size_t>(m_stride * m_rows * 16) / sizeof(CacheLine)]);
    return true;
}

int ReferenceFrame::updateRow(const FrameView& frame, int row, int first, int last,
                              std::uint8_t* changed) {
    first = std::max(first, row * 16);
    last = std::min({last, row * 16 + 16, m_height});
    const int whole = m_width / 16;
    const int wholeBytes = whole * m_blockBytes;
    // The last byte of a UYVY line of odd width belongs to no pixel.
    const bool spare = m_format == PixelFormat::Uyvy && m_width % 2 == 1;
    const auto rest = static_cast<std::size_t>(m_lineBytes - wholeBytes - (spare ? 1 : 0));
    int marked = 0;
    for (int y = first; y < last && marked < m_columns; ++y) {
        const std::uint8_t* const source = frame.pixels + y * frame.stride;
        marked += m_kernels.markChanged(source, line(y), whole, m_blockBytes, changed);
        if (rest != 0 && changed[whole] == 0) {
            if (std::memcmp(source + wholeBytes, line(y) + wholeBytes, rest) != 0) {
                changed[whole] = 1;
                ++marked;
            }
        }
    }
    if (marked == 0) {
        return 0;
    }
    for (int column = 0; column < m_columns;) {
        int end = column;
        while (end < m_columns && changed[end] != 0) {
            ++end;
        }
        if (end > column) {
            copyColumns(frame, row, first, last, column, end - column);
        }
        column = end + 1;
    }
    return marked;
}

void ReferenceFrame::copyRow(const FrameView& frame, int row) {
    copyColumns(frame, row, row * 16, std::min(row * 16 + 16, m_height), 0, m_columns);
}

void ReferenceFrame::copyColumns(const FrameView& frame, int row, int first, int last, int column,
                                 int count) {
    const std::ptrdiff_t at = static_cast<std::ptrdiff_t>(column) * m_blockBytes;
    const std::ptrdiff_t bytes = static_cast<std::ptrdiff_t>(count) * m_blockBytes;
    const auto given = static_cast<std::size_t>(std::min(bytes, m_lineBytes - at));
    const bool fill = at + bytes > m_lineBytes || (m_width % 2 == 1 && at + bytes == m_lineBytes);
    for (int y = first; y < last; ++y) {
        std::memcpy(line(y) + at, frame.pixels + y * frame.stride + at, given);
        if (fill) {
            repeatLastColumn(line(y));
        }
    }
    for (int y = m_height; y < row * 16 + 16; ++y) {
        std::memcpy(line(y) + at, line(m_height - 1) + at, static_cast<std::size_t>(bytes));
    }
}

void ReferenceFrame::repeatLastColumn(std::uint8_t* line) const {
    std::uint8_t group[4];
    if (m_format == PixelFormat::Uyvy) {
        std::uint8_t* const last = line + m_lineBytes - 4;
        if (m_width % 2 == 1) {
            last[3] = last[1];
        }
        std::memcpy(group, last, sizeof group);
        group[1] = last[3];
    } else {
        std::memcpy(group, line + m_lineBytes - 4, sizeof group);
    }
    for (std::ptrdiff_t at = m_lineBytes; at < m_stride; at += 4) {
        std::memcpy(line + at, group, sizeof group);
    }
}

}  // namespace speedhq
