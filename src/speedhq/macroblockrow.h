#pragma once
// One row of macroblocks as bits. A row's bits depend on nothing but its pixels and the quality,
// and inside the row a macroblock's bits depend on its own pixels and on the three DC values the
// macroblock before it leaves. So a macroblock that did not change keeps its bits if those three
// are what they were.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "speedhq/keptpicture.h"
#include "speedhq/kernels.h"

namespace speedhq {

/// A row's bits, and how to take them apart.
class CodedRow {
public:
    /// Where a macroblock ends, and what it leaves to the next one.
    struct End {
        std::uint32_t bit = 0;
        DcPredictors dc;
    };

    explicit CodedRow(std::size_t macroblocks) : m_ends(macroblocks) {}

    [[nodiscard]] const std::uint8_t* bits() const { return m_bits.get(); }
    [[nodiscard]] std::size_t bitCount() const { return m_ends.back().bit; }
    [[nodiscard]] std::vector<End>& ends() { return m_ends; }

    /// Copies `ends().back().bit` bits; keeps its room for the next time.
    void store(const std::uint8_t* bits);

private:
    std::vector<End> m_ends;
    std::unique_ptr<std::uint8_t[]> m_bits;
    std::size_t m_room = 0;
};

/// What all rows of a picture have in common.
struct RowSettings {
    const Kernels& kernels;
    const ColourMatrix& matrix;
    const Quantiser& quantiser;
    const CodeTables& codes;
};

/// Codes rows, one at a time. One per thread.
class RowCoder {
public:
    /// Makes room for rows of `macroblocks`.
    void prepare(std::size_t macroblocks);

    /// The flags for the row this thread is at; all 0 between rows.
    [[nodiscard]] std::uint8_t* flags() { return m_flags.data(); }
    void clearFlags();

    /// Codes the whole row. Clears the flags.
    void code(const RowSettings& settings, const KeptPicture& picture, int row, CodedRow& coded);

    /// Codes the macroblocks with a flag and keeps the bits of the others where it can. The
    /// result is the same as that of code(). Clears the flags.
    void recode(const RowSettings& settings, const KeptPicture& picture, int row, CodedRow& coded);

private:
    void codeMacroblock(const RowSettings& settings, const KeptPicture& picture, int row,
                        int column, BitWriter& writer, DcPredictors& predictors);
    void finish(BitWriter& writer, CodedRow& coded);

    std::vector<std::uint8_t> m_flags;
    std::unique_ptr<std::uint8_t[]> m_room;
    std::size_t m_roomFor = 0;
    MacroblockSamples m_samples{};
    MacroblockLevels m_levels{};
};

}  // namespace speedhq
