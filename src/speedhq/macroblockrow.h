#pragma once
// One encoded macroblock row. Its bits depend only on its pixels and the quality. Inside the row, a
// macroblock's bits depend only on its own pixels and on the three DC predictors. So a macroblock
// that did not change keeps its bits if its predictors did not change either.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "speedhq/kernels.h"

namespace speedhq {

/// The bits of a row, and the positions of its macroblocks in them.
class EncodedRow {
public:
    /// The end position of a macroblock, and the predictors for the next one.
    struct End {
        std::uint32_t bit = 0;
        DcPredictors dc;
    };

    explicit EncodedRow(std::size_t macroblocks) : m_ends(macroblocks) {}

    [[nodiscard]] const std::uint8_t* bits() const { return m_bits.get(); }
    [[nodiscard]] std::size_t bitCount() const { return m_ends.back().bit; }
    [[nodiscard]] std::vector<End>& ends() { return m_ends; }

    /// Copies `ends().back().bit` bits. Reuses its buffer where it is large enough.
    void store(const std::uint8_t* bits);

private:
    std::vector<End> m_ends;
    std::unique_ptr<std::uint8_t[]> m_bits;
    std::size_t m_capacity = 0;
};

/// The settings that all rows of a frame share.
struct RowSettings {
    const Kernels& kernels;
    const Quantiser& quantiser;
    const CodeTables& codes;
};

/// Encodes rows, one at a time. One per thread.
class RowEncoder {
public:
    /// Allocates the buffers for rows of `macroblocks`.
    void prepare(std::size_t macroblocks);

    /// The changed flags of the current row's macroblocks: one for each, undefined between rows.
    [[nodiscard]] std::uint8_t* changed() { return m_changed.data(); }

    /// Encodes the whole row.
    void encode(const RowSettings& settings, const MacroblockSamples* row, EncodedRow& encoded);

    /// Encodes the changed macroblocks and keeps the bits of the others where possible. The result
    /// is the same as that of encode().
    void reencode(const RowSettings& settings, const MacroblockSamples* row, EncodedRow& encoded);

private:
    [[nodiscard]] DcPredictors encodeMacroblock(const RowSettings& settings,
                                                const MacroblockSamples& samples, BitWriter& writer,
                                                DcPredictors predictors);
    void finish(BitWriter& writer, EncodedRow& encoded);

    std::vector<std::uint8_t> m_changed;
    std::unique_ptr<std::uint8_t[]> m_buffer;
    std::size_t m_bufferFor = 0;
    const MacroblockSamples* m_transformed = nullptr;  ///< What m_levels was made from.
    MacroblockLevels m_levels{};
};

}  // namespace speedhq
