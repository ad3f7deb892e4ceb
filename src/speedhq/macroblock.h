#pragma once
// A macroblock, 16 by 16 pixels, on its way from pixels to bits. The order of its blocks is that of
// the bits: Y top left, Y top right, Y bottom left, Y bottom right, Cb top, Cr top, Cb bottom,
// Cr bottom; the first four and the last four are kept side by side, as vector lanes want them.

#include <cstdint>

namespace speedhq {

/// Samples minus 128.
struct alignas(64) MacroblockSamples {
    std::int16_t luma[8][4][8];    ///< [line of the block][block][column of the block]
    std::int16_t chroma[8][4][8];  ///< Likewise.
};

/// Quantised levels.
struct alignas(64) MacroblockLevels {
    std::int8_t scanned[8][64];  ///< In scan order, cut to -128 to 127; position 0 is 0.
    std::uint64_t nonZero[8];    ///< Bit p: the level at scan position p is not 0.
    std::int16_t dc[8];          ///< 8 * mean of the block, rounded, halves upwards: 0 to 2040.
    std::uint32_t wide;        ///< Bit b: block b has a level beyond -127 to 127, so `full` holds.
    std::int16_t full[8][64];  ///< Stored transposed (see tables.h); position 0 is 0.
};

/// The DC values the next block of each component is predicted from.
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
