#include "speedhq/referenceframe.h"

#include <algorithm>
#include <cstring>

namespace speedhq {

namespace {

// Bgra and Bgrx are encoded in the same way.
PixelFormat encodedFormat(PixelFormat format) {
    return format == PixelFormat::Uyvy ? format : PixelFormat::Bgra;
}

/// Copies a line of 16 pixels, of which the first `width` are in the frame, and repeats the last.
void copyPaddedBgra(std::uint8_t* to, const std::uint8_t* from, int width) {
    for (int x = 0; x < 16; ++x) {
        std::memcpy(to + 4 * x, from + 4 * std::min(x, width - 1), 4);
    }
}

/// The same in groups of two pixels. The second one of the last group is undefined when `width` is
/// odd.
void copyPaddedUyvy(std::uint8_t* to, const std::uint8_t* from, int width) {
    const std::uint8_t* const lastGroup = from + (width - 1) / 2 * 4;
    const std::uint8_t last = lastGroup[width % 2 == 1 ? 1 : 3];
    for (int x = 0; x < 16; x += 2) {
        std::uint8_t* const group = to + 2 * x;
        std::memcpy(group, x < width ? from + 2 * x : lastGroup, 4);
        group[1] = x < width ? group[1] : last;
        group[3] = x + 1 < width ? group[3] : last;
    }
}

void copyLines(MacroblockSamples& to, const MacroblockSamples& from, int first, int last) {
    for (int line = first; line < last; ++line) {
        std::memcpy(to.lumaLine(line), from.lumaLine(line), 16);
        std::memcpy(to.chromaLine(line), from.chromaLine(line), 16);
    }
}

}  // namespace

bool ReferenceFrame::adoptShape(const FrameView& frame) {
    const PixelFormat format = encodedFormat(frame.format);
    if (m_samples && format == m_format && frame.width == m_width && frame.height == m_height &&
        frame.colours == m_colours) {
        return false;
    }
    m_format = format;
    m_colours = frame.colours;
    m_width = frame.width;
    m_height = frame.height;
    m_columns = (m_width + 15) / 16;
    m_rows = (m_height + 15) / 16;
    m_pixelBytes = format == PixelFormat::Uyvy ? 2 : 4;
    m_samples.reset(new MacroblockSamples[static_cast<std::size_t>(m_columns) *
                                          static_cast<std::size_t>(m_rows)]());
    return true;
}

int ReferenceFrame::updateRow(const FrameView& frame, int row, const Part& part,
                              std::uint8_t* changed) {
    std::fill_n(changed, part.left, std::uint8_t{0});
    std::fill_n(changed + part.right, m_columns - part.right, std::uint8_t{0});
    // The padding below the frame belongs to its last line.
    const int top = row * 16;
    const int bottom = part.last >= m_height ? top + 16 : std::min(part.last, top + 16);
    const int first = std::max(part.first, top);
    MacroblockSamples* const samples =
        m_samples.get() + static_cast<std::ptrdiff_t>(row) * m_columns;
    if (first == top && bottom == top + 16) {
        return convertColumns(frame, row, part.left, part.right - part.left, samples + part.left,
                              changed + part.left);
    }
    return updateLines(frame, row, {first - top, bottom - top, part.left, part.right}, samples,
                       changed);
}

/// Updates only some lines, counted from the top of the row: converts some macroblocks at a time
/// into a buffer and replaces the samples of all other lines there by the present ones.
int ReferenceFrame::updateLines(const FrameView& frame, int row, const Part& lines,
                                MacroblockSamples* samples, std::uint8_t* changed) const {
    constexpr int kMost = 8;
    MacroblockSamples converted[kMost] = {};
    int differing = 0;
    for (int column = lines.left; column < lines.right; column += kMost) {
        const int count = std::min(kMost, lines.right - column);
        (void)convertColumns(frame, row, column, count, converted, changed + column);
        for (int i = 0; i < count; ++i) {
            MacroblockSamples& current = samples[column + i];
            copyLines(converted[i], current, 0, lines.first);
            copyLines(converted[i], current, lines.last, 16);
            const bool differs = std::memcmp(&converted[i], &current, sizeof current) != 0;
            if (differs) {
                current = converted[i];
            }
            changed[column + i] = differs ? 1 : 0;
            differing += changed[column + i];
        }
    }
    return differing;
}

/// Converts `count` macroblocks of a row from column `first` on, with all their lines.
int ReferenceFrame::convertColumns(const FrameView& frame, int row, int first, int count,
                                   MacroblockSamples* samples, std::uint8_t* changed) const {
    const bool wholeLines = row * 16 + 16 <= m_height;
    const int whole = wholeLines ? std::clamp(m_width / 16 - first, 0, count) : 0;
    int differing = 0;
    if (whole > 0) {
        const std::uint8_t* const pixels =
            frame.pixels + row * 16 * frame.stride + first * 16 * m_pixelBytes;
        differing = convert(pixels, frame.stride, samples, whole, changed);
    }
    for (int i = whole; i < count; ++i) {
        differing += convertPadded(frame, row, first + i, samples + i, changed + i);
    }
    return differing;
}

/// Converts a macroblock that is partly outside the frame.
int ReferenceFrame::convertPadded(const FrameView& frame, int row, int column,
                                  MacroblockSamples* samples, std::uint8_t* changed) const {
    std::uint8_t pixels[16 * 64];
    const int width = std::min(m_width - column * 16, 16);
    const std::ptrdiff_t stride = std::ptrdiff_t{16} * m_pixelBytes;
    for (int line = 0; line < 16; ++line) {
        const int y = std::min(row * 16 + line, m_height - 1);
        const std::uint8_t* const from = frame.pixels + y * frame.stride + column * stride;
        std::uint8_t* const to = pixels + line * stride;
        if (m_format == PixelFormat::Uyvy) {
            copyPaddedUyvy(to, from, width);
        } else {
            copyPaddedBgra(to, from, width);
        }
    }
    return convert(pixels, stride, samples, 1, changed);
}

int ReferenceFrame::convert(const std::uint8_t* pixels, std::ptrdiff_t stride,
                            MacroblockSamples* samples, int count, std::uint8_t* changed) const {
    if (m_format == PixelFormat::Uyvy) {
        return m_kernels.convertUyvy(pixels, stride, samples, count, changed);
    }
    return m_kernels.convertBgra(pixels, stride, colourMatrixFor(m_colours, m_width, m_height),
                                 samples, count, changed);
}

}  // namespace speedhq
