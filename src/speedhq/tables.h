#pragma once
// The constants of SpeedHQ: scan order, weights, and the codes in the form the bit writer uses.

#include <array>
#include <cstddef>
#include <cstdint>

namespace speedhq {

/// Coefficients are stored transposed, as the transform leaves them: index 8 * u + v, with u the
/// horizontal and v the vertical frequency. kScan gives the index of each scan position.
extern const std::array<std::uint8_t, 64> kScan;

/// The weight of each coefficient, stored transposed as well. Entry 0 is not used.
extern const std::array<std::uint8_t, 64> kWeights;

/// The scan as byte shuffles: kScanShuffles[q][k] moves the levels of indices 16k to 16k + 15 that
/// belong to scan positions 16q to 16q + 15. An entry with its top bit set gives 0. [0][3] and
/// [3][0] give 0 only.
/// Each is repeated for every vector lane.
using LaneShuffle = std::array<std::uint8_t, 64>;
using ScanShuffles = std::array<std::array<LaneShuffle, 4>, 4>;
extern const ScanShuffles kScanShuffles;

/// A code in one word: its bits at the top, the first transmitted lowest, and its length, 0 to 24,
/// in the lowest byte. A writer shifts its pending bits right by the length and adds the word.
using Code = std::uint64_t;
constexpr Code makeCode(std::uint64_t bits, unsigned length) {
    return length == 0 ? 0 : bits << (64 - length) | length;
}
constexpr unsigned codeLength(Code code) {
    return code & 0xFFU;
}
constexpr std::uint64_t codeBits(Code code) {
    return codeLength(code) == 0 ? 0 : code >> (64 - codeLength(code));
}

/// The end of block. An escape is a prefix of 6 bits, 6 bits of run, and 12 bits of level + 2048.
inline constexpr Code kEndOfBlock = makeCode(0x6, 4);
constexpr Code escapeCode(unsigned run, int level) {
    return makeCode(0x20U | (run << 6) | (static_cast<std::uint32_t>(level + 2048) << 12), 24);
}

/// The largest DC difference: DC values and their predictions are 0 to 2040.
inline constexpr int kMaxDcDifference = 2040;

/// The code lookup tables.
struct CodeTables {
    /// [prediction - value + kMaxDcDifference]: the size and the difference in one code.
    std::array<Code, 2 * kMaxDcDifference + 1> lumaDc;
    std::array<Code, 2 * kMaxDcDifference + 1> chromaDc;
    /// [256 * step + 128 + level]: the code with its sign, or the escape, of a level -128 to 127
    /// that is `step` scan positions, 1 to 64, behind the previous one. Level 0 at any step is the
    /// end of the block, and level 0 at step 0 an empty code.
    std::array<Code, 65 * 256> ac;

    /// All of these in 32 bits, the length in the lowest byte and the bits above it: first `ac`,
    /// but with the level modulo 256 and the end of the block at kEndAt; then the others.
    static constexpr std::size_t kEndAt = 0;
    static constexpr std::size_t kLumaDcAt = 65 * 256;
    static constexpr std::size_t kChromaDcAt = kLumaDcAt + 2 * kMaxDcDifference + 1;
    std::array<std::uint32_t, kChromaDcAt + 2 * kMaxDcDifference + 1> packed;
};

/// Builds the tables at the first call. Any thread.
[[nodiscard]] const CodeTables& codeTables();

}  // namespace speedhq
