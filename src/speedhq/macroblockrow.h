#pragma once
// One row of macroblocks as bits. A row's bits depend on nothing but its pixels and the quality,
// and inside the row a macroblock's bits depend on its own pixels and on the three DC values the
// macroblock before it leaves. So a macroblock that did not change keeps its bits if those three
// are what they were.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "speedhq/kernels.h"
#include "speedhq/referenceframe.h"

namespace speedhq {

/// A row's bits, and how to take them apart.
class EncodedRow {
public:
    /// Where a macroblock ends, and what it leaves to the next one.
    struct End {
        std::uint32_t bit = 0;
        DcPredictors dc;
    };

    explicit EncodedRow(std::size_t macroblocks) : m_ends(macroblocks) {}

    [[nodiscard]] const std::uint8_t* bits() const { return m_bits.get(); }
    [[nodiscard]] std::size_t bitCount() const { return m_ends.back().bit; }
    [[nodiscard]] std::vector<End>& ends() { return m_ends; }

    /// Copies `ends().back().bit` bits; keeps its room for the next time.
    void store(const std::uint8_t* bits);

private:
    std::vector<End> m_ends;
    std::unique_ptr<std::uint8_t[]> m_bits;
    std::size_t m_buffer = 0;
};

/// What all rows of a frame have in common.
struct RowSettings {
    const Kernels& kernels;
    const ColourMatrix& matrix;
    const Quantiser& quantiser;
    const CodeTables& codes;
};

/// Codes rows, one at a time. One per thread.
class RowEncoder {
public:
    /// Makes room for rows of `macroblocks`.
    void prepare(std::size_t macroblocks);

    /// The flags for the row this thread is at; all 0 between rows.
    [[nodiscard]] std::uint8_t* flags() { return m_flags.data(); }
    void clearFlags();

    /// Codes the whole row. Clears the flags.
    void encode(const RowSettings& settings, const ReferenceFrame& frame, int row,
                EncodedRow& encoded);

    /// Codes the macroblocks with a flag and keeps the bits of the others where it can. The
    /// result is the same as that of encode(). Clears the flags.
    void reencode(const RowSettings& settings, const ReferenceFrame& frame, int row,
                  EncodedRow& encoded);

private:
    void encodeMacroblock(const RowSettings& settings, const ReferenceFrame& frame, int row,
                          int column, BitWriter& writer, DcPredictors& predictors);
    void finish(BitWriter& writer, EncodedRow& encoded);

    std::vector<std::uint8_t> m_flags;
    std::unique_ptr<std::uint8_t[]> m_buffer;
    std::size_t m_bufferFor = 0;
    MacroblockSamples m_samples{};
    MacroblockLevels m_levels{};
};

}  // namespace speedhq
