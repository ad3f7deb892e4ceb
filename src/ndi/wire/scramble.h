#pragma once
// The keyed xorshift stream that scrambles parts of a message, first kind.

#include <cstddef>
#include <cstdint>

namespace ndi::wire {

/// In place; `seed` is the sum of the message's info and data sizes.
void scramble(std::uint8_t* bytes, std::size_t size, std::uint32_t seed);

/// Undoes scramble() of the same bytes with the same seed.
void unscramble(std::uint8_t* bytes, std::size_t size, std::uint32_t seed);

}  // namespace ndi::wire
