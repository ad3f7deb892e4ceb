#include "speedhq/quantiser.h"

#include <algorithm>
#include <cmath>

#include "speedhq/tables.h"

namespace speedhq {

namespace {

double transformScale(std::size_t frequency) {
    constexpr double kPi = 3.14159265358979323846;
    return frequency == 0 ? 1.0
                          : std::sqrt(2.0) * std::cos(static_cast<double>(frequency) * kPi / 16.0);
}

}  // namespace

Quantiser makeQuantiser(int quality, double rounding) {
    std::array<double, 64> steps{};
    for (std::size_t i = 1; i < 64; ++i) {
        const double scale = 16.0 * transformScale(i / 8) * transformScale(i % 8);
        steps[i] = scale * kWeights[i] * (100 - quality) / 16.0;
    }
    const double smallest = *std::min_element(steps.begin() + 1, steps.end());

    Quantiser quantiser{};
    quantiser.quality = quality;
    // Coefficients of an orthonormal transform are at most 8 * 127.5, the smallest step is
    // (100 - quality). The margin is for the rounding of 16-bit arithmetic.
    quantiser.mayBeWide = 1.05 * 8 * 127.5 >= 127.0 * (100 - quality);
    while (std::ldexp(1.0, 17 + quantiser.shift) / smallest < 65535.0) {
        ++quantiser.shift;
    }
    for (std::size_t i = 1; i < 64; ++i) {
        const double multiplier = std::ldexp(1.0, 16 + quantiser.shift) / steps[i];
        for (std::size_t lane = 0; lane < 4; ++lane) {
            quantiser.bias[i / 8][lane][i % 8] =
                static_cast<std::uint16_t>(std::lround(rounding * steps[i]));
            quantiser.multiplier[i / 8][lane][i % 8] =
                static_cast<std::uint16_t>(std::lround(multiplier));
        }
    }
    return quantiser;
}

}  // namespace speedhq
