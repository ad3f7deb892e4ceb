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
    while (std::ldexp(1.0, 17 + quantiser.shift) / smallest < 65535.0) {
        ++quantiser.shift;
    }
    for (std::size_t i = 1; i < 64; ++i) {
        quantiser.bias[i] = static_cast<std::uint16_t>(std::lround(rounding * steps[i]));
        quantiser.multiplier[i] = static_cast<std::uint16_t>(
            std::lround(std::ldexp(1.0, 16 + quantiser.shift) / steps[i]));
    }
    return quantiser;
}

}  // namespace speedhq
