#pragma once
// Appends a part of one bit string to another. Like macroblockwriter.h it is compiled once per
// instruction set.

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "speedhq/bitwriter.h"

namespace speedhq {
namespace {

inline std::uint64_t load64(const std::uint8_t* at) {
    std::uint64_t word;
    std::memcpy(&word, at, sizeof word);
    return word;
}

inline void store64(std::uint8_t* at, std::uint64_t word) {
    std::memcpy(at, &word, sizeof word);
}

/// Appends `count` bits, at most 56. The bits of `bits` from `count` on are 0.
inline void put(BitWriter& writer, std::uint64_t bits, unsigned count) {
    writer.pending |= bits << writer.pendingCount;
    writer.pendingCount += count;
    store64(writer.next, writer.pending);
    writer.next += writer.pendingCount / 8;
    writer.pending >>= writer.pendingCount & ~7U;
    writer.pendingCount &= 7U;
}

inline std::uint64_t bitsAt(const std::uint8_t* source, std::size_t first, unsigned count) {
    return (load64(source + first / 8) >> (first % 8)) & ((std::uint64_t{1} << count) - 1);
}

/// Copies whole bytes from a bit offset of `shift`. The compiler vectorises the loop.
inline void copyShifted(std::uint8_t* __restrict target, const std::uint8_t* __restrict source,
                        unsigned shift, std::size_t bytes) {
    if (shift == 0) {
        std::memcpy(target, source, bytes);
        return;
    }
    for (std::size_t i = 0; i < bytes; i += 8) {
        store64(target + i,
                (load64(source + i) >> shift) | (load64(source + i + 8) << (64 - shift)));
    }
}

void appendBits(BitWriter& writer, const std::uint8_t* source, std::size_t first,
                std::size_t count) {
    // First up to a byte boundary of the target, then whole bytes, then the rest.
    const unsigned toBoundary = (8 - writer.pendingCount) % 8;
    const unsigned head = count < toBoundary ? static_cast<unsigned>(count) : toBoundary;
    put(writer, bitsAt(source, first, head), head);
    first += head;
    count -= head;

    const std::size_t bytes = count / 8;
    if (bytes > 0) {
        copyShifted(writer.next, source + first / 8, static_cast<unsigned>(first % 8), bytes);
        writer.next += bytes;
        first += bytes * 8;
        count -= bytes * 8;
    }
    put(writer, bitsAt(source, first, static_cast<unsigned>(count)), static_cast<unsigned>(count));
}

}  // namespace
}  // namespace speedhq
