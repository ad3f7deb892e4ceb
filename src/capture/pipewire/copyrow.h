#pragma once
// Pixels in a row to opaque BGRA, with the vectors that the processor has.

#include <cstddef>
#include <cstdint>

#include "capture/pipewire/pixels.h"

namespace capture::pipewire {

/// Copies pixels of 4 bytes, at any address, and gives them alpha 255. The two do not overlap.
using CopyRow = void (*)(const std::uint8_t* source, std::uint8_t* dest, std::size_t pixels);

[[nodiscard]] CopyRow copyRowOf(PixelOrder order);

#if defined(TARSIN_SSSE3)
/// As above, for processors that can shuffle bytes.
[[nodiscard]] CopyRow copyRowSsse3(PixelOrder order);
#endif

}  // namespace capture::pipewire
