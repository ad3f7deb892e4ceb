#pragma once
// The encoder's copy of the newest frame, filled up to whole macroblocks.

#include <cstddef>
#include <cstdint>
#include <memory>

#include "speedhq/frameencoder.h"
#include "speedhq/kernels.h"

namespace speedhq {

/// Rows of macroblocks may be updated by several threads at a time, each row by one.
class ReferenceFrame {
public:
    explicit ReferenceFrame(const Kernels& kernels) : m_kernels(kernels) {}

    /// Makes room for frames like `frame`. True when that changed the shape: the contents are
    /// lost then, and every row must be taken with copyRow().
    bool shapeLike(const FrameView& frame);

    /// Finds the macroblocks of `row` that differ within frame lines [first, last), copies those
    /// and sets their changed[i] to 1, of columns() flags that were all 0. Lines outside are not
    /// looked at. Returns how many there are.
    int updateRow(const FrameView& frame, int row, int first, int last, std::uint8_t* changed);

    /// Copies the row as it is, without a comparison.
    void copyRow(const FrameView& frame, int row);

    [[nodiscard]] bool empty() const { return m_pixels == nullptr; }
    [[nodiscard]] PixelFormat format() const { return m_format; }
    [[nodiscard]] int width() const { return m_width; }
    [[nodiscard]] int height() const { return m_height; }
    /// Macroblocks in a row, and rows of them.
    [[nodiscard]] int columns() const { return m_columns; }
    [[nodiscard]] int rows() const { return m_rows; }

    /// The frame with its last column and last line repeated up to whole macroblocks.
    [[nodiscard]] const std::uint8_t* line(int y) const {
        return reinterpret_cast<const std::uint8_t*>(m_pixels.get()) + y * m_stride;
    }
    [[nodiscard]] std::ptrdiff_t stride() const { return m_stride; }
    /// Bytes of one macroblock's line.
    [[nodiscard]] int blockBytes() const { return m_blockBytes; }

private:
    [[nodiscard]] std::uint8_t* line(int y) {
        return reinterpret_cast<std::uint8_t*>(m_pixels.get()) + y * m_stride;
    }
    void copyColumns(const FrameView& frame, int row, int first, int last, int column, int count);
    void repeatLastColumn(std::uint8_t* line) const;

    const Kernels& m_kernels;
    PixelFormat m_format = PixelFormat::Bgra;
    int m_width = 0;
    int m_height = 0;
    int m_columns = 0;
    int m_rows = 0;
    int m_blockBytes = 0;
    int m_lineBytes = 0;  ///< Of the source, without the filling.
    std::ptrdiff_t m_stride = 0;
    /// Blocks of a line begin at multiples of 64 bytes, as wide loads like it.
    struct alignas(64) CacheLine {
        std::uint8_t bytes[64];
    };
    std::unique_ptr<CacheLine[]> m_pixels;
};

}  // namespace speedhq
