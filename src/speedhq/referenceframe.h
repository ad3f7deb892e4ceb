#pragma once
// The encoder's copy of the newest frame, padded to whole macroblocks.

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

    /// Adopts the size and format of `frame`. Returns true when they changed: the contents are
    /// undefined then until every row has been copied with copyRow().
    bool shapeLike(const FrameView& frame);

    /// Finds the macroblocks of `row` that differ within frame lines [first, last), copies them and
    /// sets their changed[i] to 1. `changed` has columns() flags, all 0 before the call. Other
    /// lines are not read. Returns the number of macroblocks that differ.
    int updateRow(const FrameView& frame, int row, int first, int last, std::uint8_t* changed);

    /// Copies the row without comparing it.
    void copyRow(const FrameView& frame, int row);

    [[nodiscard]] bool empty() const { return m_pixels == nullptr; }
    [[nodiscard]] PixelFormat format() const { return m_format; }
    [[nodiscard]] int width() const { return m_width; }
    [[nodiscard]] int height() const { return m_height; }
    /// The number of macroblocks in a row, and of macroblock rows.
    [[nodiscard]] int columns() const { return m_columns; }
    [[nodiscard]] int rows() const { return m_rows; }

    /// A line of the frame. Its last column and last line are repeated up to whole macroblocks.
    [[nodiscard]] const std::uint8_t* line(int y) const {
        return reinterpret_cast<const std::uint8_t*>(m_pixels.get()) + y * m_stride;
    }
    [[nodiscard]] std::ptrdiff_t stride() const { return m_stride; }
    /// The bytes of one line of a macroblock.
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
    int m_lineBytes = 0;  ///< Of the source's line, without padding.
    std::ptrdiff_t m_stride = 0;
    /// Aligns the macroblocks to cache lines, so that wide loads do not cross them.
    struct alignas(64) CacheLine {
        std::uint8_t bytes[64];
    };
    std::unique_ptr<CacheLine[]> m_pixels;
};

}  // namespace speedhq
