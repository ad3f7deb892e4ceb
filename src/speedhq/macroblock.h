#pragma once
// The intermediate forms of a macroblock, 16 by 16 pixels, between pixels and bits. Its blocks are
// in bitstream order: Y top left, Y top right, Y bottom left, Y bottom right, Cb top, Cr top,
// Cb bottom, Cr bottom. The lines of the four luma and of the four chroma blocks are interleaved,
// one block per vector lane.

#include <cstddef>
#include <cstdint>

namespace speedhq {

/// The 4:2:2 samples.
struct alignas(64) MacroblockSamples {
    std::uint8_t luma[8][4][8];    ///< [line of the block][block][column of the block]
    std::uint8_t chroma[8][4][8];  ///< Likewise.

    /// The 16 luma samples of line 0 to 15 of the macroblock.
    [[nodiscard]] std::uint8_t* lumaLine(int line) { return luma[line % 8][line / 8 * 2]; }
    [[nodiscard]] const std::uint8_t* lumaLine(int line) const {
        return luma[line % 8][line / 8 * 2];
    }
    /// The 8 Cb samples of a line, followed by its 8 Cr samples.
    [[nodiscard]] std::uint8_t* chromaLine(int line) { return chroma[line % 8][line / 8 * 2]; }
    [[nodiscard]] const std::uint8_t* chromaLine(int line) const {
        return chroma[line % 8][line / 8 * 2];
    }
};

/// Quantised levels. To be initialised with zeros before the first transform.
struct alignas(64) MacroblockLevels {
    /// Per block in scan order, clamped to -128 to 127. Position 0 of a block is 0. So is the
    /// element behind the last block, because writers read the level at position 64 of each block.
    std::int8_t scanned[8 * 64 + 64];
    std::uint64_t nonZero[8];  ///< Bit p: the level at scan position p is not 0.
    std::int16_t dc[8];        ///< 8 * mean of the block, rounded, halves up: 0 to 2040.
    std::uint32_t wide;  ///< Bit b: block b has a level outside -127 to 127, and `full` is valid.
    std::int16_t full[8][64];  ///< Stored transposed (see tables.h); position 0 is 0.
};

/// The DC values that the next block of each component is predicted from.
struct DcPredictors {
    std::int16_t y = 1024;
    std::int16_t cb = 1024;
    std::int16_t cr = 1024;
};

constexpr bool operator==(const DcPredictors& a, const DcPredictors& b) {
    return a.y == b.y && a.cb == b.cb && a.cr == b.cr;
}
constexpr bool operator!=(const DcPredictors& a, const DcPredictors& b) {
    return !(a == b);
}

}  // namespace speedhq
