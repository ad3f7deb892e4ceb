#pragma once
// Reads packets and forgives nothing: unlike libavcodec's decoder it insists on exact lengths, on
// zero padding and on levels within their range. Written from the format, not from the encoder.

#include <cstddef>
#include <cstdint>

namespace testing_support {

/// Reads a 4:2:2 one-field packet of `width`, a multiple of 16, to its last bit. Throws
/// std::runtime_error with the first thing that is wrong.
void checkStrictly(const std::uint8_t* packet, std::size_t size, int width, int height);

}  // namespace testing_support
