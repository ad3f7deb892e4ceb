#pragma once
// The newest frame as 4:2:2 samples, padded to whole macroblocks.

#include <cstddef>
#include <cstdint>
#include <memory>

#include "speedhq/frameencoder.h"
#include "speedhq/kernels.h"

namespace speedhq {

/// Several threads may update different macroblock rows at the same time.
class ReferenceFrame {
public:
    explicit ReferenceFrame(const Kernels& kernels) : m_kernels(kernels) {}

    /// Adopts the size, format and matrix of `frame`. Returns true when they changed: the samples
    /// are all 0 then until update() is called for all lines.
    bool adoptShape(const FrameView& frame);

    /// A part of a macroblock row: frame lines [first, last) of macroblocks [left, right).
    struct Part {
        int first = 0;
        int last = 0;
        int left = 0;
        int right = 0;

        [[nodiscard]] bool empty() const { return first >= last || left >= right; }
    };

    /// Converts a part of macroblock row `row` that is not empty. All other samples keep their
    /// values. Sets changed[i] to 1 for each macroblock of the row whose samples changed and to 0
    /// for the others, and returns the number of those that changed.
    int updateRow(const FrameView& frame, int row, const Part& part, std::uint8_t* changed);

    [[nodiscard]] bool empty() const { return m_samples == nullptr; }
    /// The matrix of the samples.
    [[nodiscard]] ColourChoice colours() const {
        return colourChoiceFor(m_colours, m_width, m_height);
    }
    [[nodiscard]] int width() const { return m_width; }
    [[nodiscard]] int height() const { return m_height; }
    /// The number of macroblocks in a row, and of macroblock rows.
    [[nodiscard]] int columns() const { return m_columns; }
    [[nodiscard]] int rows() const { return m_rows; }

    /// The columns() macroblocks of a row. The last column and the last line of the frame are
    /// repeated up to whole macroblocks.
    [[nodiscard]] const MacroblockSamples* row(int row) const {
        return m_samples.get() + static_cast<std::ptrdiff_t>(row) * m_columns;
    }

private:
    int convert(const std::uint8_t* pixels, std::ptrdiff_t stride, MacroblockSamples* samples,
                int count, std::uint8_t* changed) const;
    int convertPadded(const FrameView& frame, int row, int column, MacroblockSamples* samples,
                      std::uint8_t* changed) const;
    int convertColumns(const FrameView& frame, int row, int first, int count,
                       MacroblockSamples* samples, std::uint8_t* changed) const;
    int updateLines(const FrameView& frame, int row, const Part& lines, MacroblockSamples* samples,
                    std::uint8_t* changed) const;

    const Kernels& m_kernels;
    PixelFormat m_format = PixelFormat::Bgra;
    ColourChoice m_colours = ColourChoice::Automatic;
    int m_width = 0;
    int m_height = 0;
    int m_columns = 0;
    int m_rows = 0;
    int m_pixelBytes = 4;
    std::unique_ptr<MacroblockSamples[]> m_samples;
};

}  // namespace speedhq
