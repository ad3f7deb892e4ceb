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
    /// The values of one horizontal frequency, stored transposed like the coefficients, once for
    /// each vector lane.
    using Lanes = std::array<std::array<std::uint16_t, 8>, 4>;

    std::array<Lanes, 8> bias;
    std::array<Lanes, 8> multiplier;
    int shift;
    int quality;
    bool mayBeWide;  ///< Levels outside -127 to 127 are possible.
};

/// Added to a magnitude, in steps, before it is truncated to a whole number of steps. 0.5 is plain
/// rounding; a smaller value gives fewer small levels. docs/BENCHMARKS.md has the measurements.
inline constexpr double kRounding = 0.375;

/// `quality` is the packet's quality byte, 2 to 98. All receivers interpret even values from 38 on
/// in the same way.
[[nodiscard]] Quantiser makeQuantiser(int quality, double rounding = kRounding);

}  // namespace speedhq
