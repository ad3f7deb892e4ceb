#pragma once
// A SpeedHQ decoder that forgives nothing: unlike libavcodec's it insists on exact lengths and on
// zero padding. Written from the format, not from the encoder: slow, plain and with a
// floating-point inverse transform.

#include <cstddef>
#include <cstdint>

#include "support/libavspeedhq.h"

namespace testing_support {

/// Decodes one 4:2:2 one-field packet of `width`, a multiple of 16. Throws std::runtime_error with
/// the first thing that is wrong.
[[nodiscard]] Planes decodeStrictly(const std::uint8_t* packet, std::size_t size, int width,
                                    int height);

}  // namespace testing_support
