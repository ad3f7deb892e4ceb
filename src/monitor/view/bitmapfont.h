#pragma once
// A font of 5x8 pixels for the line over the video. A font file and a library to read it would have
// to be built and delivered for Windows; a few words in Latin letters do not justify that.

#include <array>
#include <cstdint>

namespace monitor {

inline constexpr int kGlyphWidth = 5;
inline constexpr int kGlyphHeight = 8;

/// Rows from top to bottom; the highest of the five lowest bits is the leftmost pixel.
using Glyph = std::array<std::uint8_t, kGlyphHeight>;

/// "?" for what is not printable ASCII.
[[nodiscard]] const Glyph& glyphOf(char character);

}  // namespace monitor
