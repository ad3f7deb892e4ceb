#pragma once
// Strings of bits: bit k is bit k % 8 of byte k / 8.

#include <cstddef>
#include <cstdint>

namespace speedhq {

/// Where the next bits go. The caller sees to the room: writers store 8 bytes at a time and so
/// touch up to kBitSlack bytes behind their last bit. Between calls fewer than 8 bits are pending.
struct BitWriter {
    std::uint8_t* next = nullptr;
    std::uint64_t pending = 0;
    unsigned pendingCount = 0;

    explicit BitWriter(std::uint8_t* buffer) : next(buffer) {}

    /// Bits written since `start`, which is where this writer began.
    [[nodiscard]] std::size_t bitsSince(const std::uint8_t* start) const {
        return static_cast<std::size_t>(next - start) * 8 + pendingCount;
    }
};

/// Bytes of room that must follow the last bit of a string that is written or read.
inline constexpr std::size_t kBitSlack = 24;

/// Appends bits [first, first + count) of the string at `source`.
void appendBits(BitWriter& writer, const std::uint8_t* source, std::size_t first,
                std::size_t count);

/// Stores what is pending, filled up with 0 to a whole byte; the string ends before `next`.
void finishBits(BitWriter& writer);

}  // namespace speedhq
