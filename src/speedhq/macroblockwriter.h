#pragma once
// Run/level coding of one macroblock. Every kernel file includes this header, so that it is
// compiled for each instruction set. The unnamed namespace keeps the linker from merging these
// copies; for the same reason nothing here calls a shared inline function.

#include <cstdint>
#include <cstring>

#include "speedhq/bitwriter.h"
#include "speedhq/macroblock.h"
#include "speedhq/tables.h"

namespace speedhq {
namespace {

/// A BitWriter that the compiler can keep in registers. Up to 56 bits fit between two flushes.
struct OpenWriter {
    std::uint8_t* next;
    std::uint64_t pending;
    unsigned count;

    void put(Code code) {
        pending |= static_cast<std::uint64_t>(codeBits(code)) << count;
        count += codeLength(code);
    }
    void flush() {
        std::memcpy(next, &pending, sizeof pending);
        next += count >> 3;
        pending >>= count & ~7U;
        count &= 7U;
    }
};

/// Writes the usual block, which is not all 0 and whose levels all are in the code table. With
/// fewer than 8 bits pending, two codes of 24 bits and the end of block fit without a check.
inline void writeLevels(OpenWriter& out, const Code* acCodes, const std::int8_t* levels,
                        std::uint64_t nonZero) {
    const Code* fromPrevious = acCodes + 128 - 256;
    for (;;) {
        const auto first = static_cast<unsigned>(__builtin_ctzll(nonZero));
        nonZero &= nonZero - 1;
        out.put(fromPrevious[static_cast<int>(256 * first) + levels[first]]);
        fromPrevious = acCodes + 128 - 256 - 256 * static_cast<int>(first);
        if (nonZero == 0) {
            break;
        }
        const auto second = static_cast<unsigned>(__builtin_ctzll(nonZero));
        nonZero &= nonZero - 1;
        out.put(fromPrevious[static_cast<int>(256 * second) + levels[second]]);
        fromPrevious = acCodes + 128 - 256 - 256 * static_cast<int>(second);
        out.flush();
        if (nonZero == 0) {
            break;
        }
    }
}

/// Writes a block with levels of more than 8 bits.
inline void writeWideLevels(OpenWriter& out, const Code* acCodes, const std::int16_t* levels,
                            std::uint64_t nonZero) {
    unsigned previous = 0;
    while (nonZero != 0) {
        const auto position = static_cast<unsigned>(__builtin_ctzll(nonZero));
        nonZero &= nonZero - 1;
        const unsigned run = position - previous - 1;
        previous = position;
        const int level = levels[kScan[position]];
        out.put(level >= -128 && level < 128 ? acCodes[static_cast<int>(256 * run) + 128 + level]
                                             : escapeCode(run, level));
        out.flush();
    }
}

void writeMacroblock(const MacroblockLevels& levels, const CodeTables& codes,
                     DcPredictors& predictors, BitWriter& writer) {
    std::int16_t* const previous[8] = {&predictors.y,  &predictors.y,  &predictors.y,
                                       &predictors.y,  &predictors.cb, &predictors.cr,
                                       &predictors.cb, &predictors.cr};
    OpenWriter out{writer.next, writer.pending, writer.pendingCount};
    for (unsigned block = 0; block < 8; ++block) {
        const Code* const dcCodes = (block < 4 ? &codes.lumaDc[0] : &codes.chromaDc[0]);
        out.put(dcCodes[kMaxDcDifference + *previous[block] - levels.dc[block]]);
        *previous[block] = levels.dc[block];
        if (levels.nonZero[block] == 0) {
            out.put(kEndOfBlock);
            out.flush();
            continue;
        }
        out.flush();
        if ((levels.wide >> block & 1U) == 0) {
            writeLevels(out, &codes.ac[0], levels.scanned[block], levels.nonZero[block]);
        } else {
            writeWideLevels(out, &codes.ac[0], levels.full[block], levels.nonZero[block]);
        }
        out.put(kEndOfBlock);
        out.flush();
    }
    writer.next = out.next;
    writer.pending = out.pending;
    writer.pendingCount = out.count;
}

}  // namespace
}  // namespace speedhq
