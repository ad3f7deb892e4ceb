#pragma once
// Run/level coding of one macroblock. Every kernel file includes this header, so that it is
// compiled for each instruction set. The unnamed namespace keeps the linker from merging these
// copies; for the same reason nothing here calls a shared inline function. The kernel file defines
// trailingZeros(), which is 64 for 0, before.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "speedhq/bitwriter.h"
#include "speedhq/macroblock.h"
#include "speedhq/tables.h"

namespace speedhq {
namespace {

/// A BitWriter in registers. The pending bits are the top ones, the first written lowest; the bits
/// below them are garbage. Up to 56 bits fit between two flushes.
struct OpenWriter {
    std::uint8_t* next;
    std::uint64_t pending;
    std::uint64_t count;  ///< In the lowest byte; the other bits are garbage.

    explicit OpenWriter(const BitWriter& writer)
        : next(writer.next),
          pending(writer.pending << 1 << (63 - writer.pendingCount)),
          count(writer.pendingCount) {}

    void put(Code code) {
        pending = (pending >> (code & 63U)) | code;
        count += code;
    }
    /// At least one bit must be pending.
    void flush() {
        const std::uint64_t bits = pending >> (-count & 63U);
        std::memcpy(next, &bits, sizeof bits);
        next += (count & 0xFFU) >> 3;
        count &= 7U;
    }
    /// After a flush.
    void close(BitWriter& writer) const {
        writer.next = next;
        writer.pending = pending >> 1 >> (63 - count);
        writer.pendingCount = static_cast<unsigned>(count);
    }
};

/// Writes the levels and the end of a block that is not all 0, all of which are in the code table;
/// `ac` is its entry [128]. The DC code is pending. After the last level the loop finds level 0 at
/// position 64, whose code is the end of the block; once more, and the code is empty. So it writes
/// two codes per turn and only then checks for the end. With fewer than 8 bits pending, two codes
/// of 24 bits fit.
inline void writeLevels(OpenWriter& out, const Code* ac, const std::int8_t* levels,
                        std::uint64_t nonZero) {
    std::uint64_t previous = 0;
    const auto putNext = [&] {
        const std::uint64_t position = trailingZeros(nonZero);
        nonZero &= nonZero - 1;
        const std::int64_t level = levels[position];
        out.put(ac[static_cast<std::int64_t>((position - previous) << 8) + level]);
        previous = position;
    };
    putNext();
    out.flush();
    do {
        putNext();
        putNext();
        out.flush();
    } while (previous != 64);
}

/// Writes a block with levels of more than 8 bits. Rare, so kept out of the registers of the
/// others.
__attribute__((noinline)) OpenWriter writeWideLevels(OpenWriter out, const Code* ac,
                                                     const std::int16_t* levels,
                                                     std::uint64_t nonZero) {
    std::uint64_t previous = 0;
    while (nonZero != 0) {
        out.flush();
        const std::uint64_t position = trailingZeros(nonZero);
        nonZero &= nonZero - 1;
        const int level = levels[kScan[position]];
        const std::uint64_t step = position - previous;
        previous = position;
        out.put(level >= -128 && level < 128 ? ac[static_cast<int>(256 * step) + level]
                                             : escapeCode(static_cast<unsigned>(step - 1), level));
    }
    out.put(kEndOfBlock);
    out.flush();
    return out;
}

template <bool mayBeWide>
inline void writeBlock(OpenWriter& out, const MacroblockLevels& levels, unsigned block,
                       const CodeTables& codes, const Code* dcCodes, std::ptrdiff_t& predictor) {
    const std::ptrdiff_t dc = levels.dc[block];
    out.put(dcCodes[predictor - dc]);
    predictor = dc;
    const std::uint64_t nonZero = levels.nonZero[block];
    if (nonZero == 0) {
        out.put(kEndOfBlock);
        out.flush();
    } else if (mayBeWide && (levels.wide >> block & 1U) != 0) {
        out = writeWideLevels(out, &codes.ac[128], levels.full[block], nonZero);
    } else {
        writeLevels(out, &codes.ac[128], levels.scanned + std::size_t{block} * 64, nonZero);
    }
}

template <bool mayBeWide>
inline DcPredictors writeBlocks(OpenWriter& out, const MacroblockLevels& levels,
                                const CodeTables& codes, DcPredictors predictors) {
    const Code* const lumaDc = &codes.lumaDc[kMaxDcDifference];
    const Code* const chromaDc = &codes.chromaDc[kMaxDcDifference];
    std::ptrdiff_t y = predictors.y;
    std::ptrdiff_t cb = predictors.cb;
    std::ptrdiff_t cr = predictors.cr;
    for (unsigned block = 0; block < 4; ++block) {
        writeBlock<mayBeWide>(out, levels, block, codes, lumaDc, y);
    }
    for (unsigned block = 4; block < 8; block += 2) {
        writeBlock<mayBeWide>(out, levels, block, codes, chromaDc, cb);
        writeBlock<mayBeWide>(out, levels, block + 1, codes, chromaDc, cr);
    }
    return {static_cast<std::int16_t>(y), static_cast<std::int16_t>(cb),
            static_cast<std::int16_t>(cr)};
}

DcPredictors writeMacroblock(const MacroblockLevels& levels, const CodeTables& codes,
                             DcPredictors predictors, BitWriter& writer) {
    OpenWriter out(writer);
    predictors = levels.wide == 0 ? writeBlocks<false>(out, levels, codes, predictors)
                                  : writeBlocks<true>(out, levels, codes, predictors);
    out.close(writer);
    return predictors;
}

}  // namespace
}  // namespace speedhq
