#pragma once
// Quantisation: from coefficients to levels.
//
// The transform (see macroblock.h) leaves coefficient (u, v) scaled by 16 * s(u) * s(v), with
// s(0) = 1 and s(k) = sqrt(2) * cos(k * pi / 16). The scale, the weight and the quality are folded
// into one reciprocal per coefficient c:
//     level = sign(c) * ((((|c| + bias) * multiplier) >> 16) >> shift)
// with |c| + bias below 2^16. `shift` is the same for all, so that 16-bit lanes can do it.

#include <array>
#include <cstdint>

namespace speedhq {

struct alignas(64) Quantiser {
    std::array<std::uint16_t, 64> bias;        ///< Stored transposed, like the coefficients.
    std::array<std::uint16_t, 64> multiplier;  ///< Likewise.
    int shift;
    int quality;
};

/// Added to a magnitude, in steps, before it is truncated to a whole number of steps. 0.5 is plain
/// rounding; a smaller value gives fewer small levels. docs/BENCHMARKS.md has the measurements.
inline constexpr double kRounding = 0.375;

/// `quality` is the packet's quality byte, 2 to 98. All receivers interpret even values from 38 on
/// in the same way.
[[nodiscard]] Quantiser makeQuantiser(int quality, double rounding = kRounding);

}  // namespace speedhq
