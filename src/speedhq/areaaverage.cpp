#include "speedhq/areaaverage.h"

#include <algorithm>

namespace speedhq {

AreaWeights::AreaWeights(int extent, int step, int output, int unit) {
    // In units of 1 / output, input i covers [i * size, (i + 1) * size) up to the extent, and
    // output o covers [o * extent, (o + 1) * extent). Weights are differences of rounded edges, so
    // they add up to exactly `unit`.
    const std::int64_t size = static_cast<std::int64_t>(step) * output;
    const auto lastInput = [&](std::int64_t o) { return ((o + 1) * extent - 1) / size; };
    for (std::int64_t o = 0; o < output; ++o) {
        m_inputs = std::max(m_inputs, static_cast<int>(lastInput(o) - o * extent / size + 1));
    }
    for (std::int64_t o = 0; o < output; ++o) {
        const std::int64_t begin = o * extent;
        const std::int64_t first = std::min(begin / size, lastInput(output - 1) + 1 - m_inputs);
        const auto edge = [&](std::int64_t input) {
            const std::int64_t at = std::clamp(input * size - begin, std::int64_t{0},
                                               static_cast<std::int64_t>(extent));
            return (at * unit + extent / 2) / extent;
        };
        m_firsts.push_back(static_cast<int>(first));
        for (std::int64_t input = first; input < first + m_inputs; ++input) {
            m_weights.push_back(static_cast<std::uint32_t>(edge(input + 1) - edge(input)));
        }
    }
}

namespace {

/// `fixedInputs` is the number of inputs when that is known at compile time, else 0.
template <int fixedInputs>
void average(const std::uint16_t* sums, const AreaWeights& columns, std::uint16_t* means) {
    const int inputs = fixedInputs > 0 ? fixedInputs : columns.inputs();
    const std::uint32_t* weights = columns.weights(0);
    for (int output = 0; output < columns.outputs(); ++output, weights += inputs) {
        const std::uint16_t* const from = sums + columns.first(output);
        std::uint32_t sum = kColumnUnit / 2;
        for (int i = 0; i < inputs; ++i) {
            sum += from[i] * weights[i];
        }
        means[output] = static_cast<std::uint16_t>(sum / kColumnUnit);
    }
}

}  // namespace

void averageColumns(const std::uint16_t* sums, const AreaWeights& columns, std::uint16_t* means) {
    switch (columns.inputs()) {
        case 2:
            return average<2>(sums, columns, means);
        case 3:
            return average<3>(sums, columns, means);
        case 4:
            return average<4>(sums, columns, means);
        default:
            return average<0>(sums, columns, means);
    }
}

}  // namespace speedhq
