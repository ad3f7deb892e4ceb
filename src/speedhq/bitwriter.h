#pragma once
// Bit strings: bit k of a string is bit k % 8 of byte k / 8.

#include <cstddef>
#include <cstdint>

namespace speedhq {

/// Appends to a bit string. The caller provides the buffer. Writers store 8 bytes at a time, so
/// they may overwrite up to kBitSlack bytes behind the last bit. Between calls fewer than 8 bits
/// are pending.
struct BitWriter {
    std::uint8_t* next = nullptr;
    std::uint64_t pending = 0;
    unsigned pendingCount = 0;

    explicit BitWriter(std::uint8_t* buffer) : next(buffer) {}

    /// Bits written since `start`, the address this writer started at.
    [[nodiscard]] std::size_t bitsSince(const std::uint8_t* start) const {
        return static_cast<std::size_t>(next - start) * 8 + pendingCount;
    }
};

/// Bytes the buffer must have behind the last bit of a string that is written or read.
inline constexpr std::size_t kBitSlack = 24;

/// Stores the pending bits, padded with zeros to a whole byte. The string ends before `next`.
inline void finishBits(BitWriter& writer) {
    if (writer.pendingCount > 0) {
        *writer.next++ = static_cast<std::uint8_t>(writer.pending);
    }
    writer.pending = 0;
    writer.pendingCount = 0;
}

}  // namespace speedhq
