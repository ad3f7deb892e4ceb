#include "speedhq/areaaverage.h"

#include <algorithm>

namespace speedhq {

AreaWeights::AreaWeights(int extent, int step, int output, int unit) {
    // In units of 1 / output, input i covers [i * step * output, (i + 1) * step * output) up to the
    // extent, and output o covers [o * extent, (o + 1) * extent). Weights are differences of
    // rounded edges, so they add up to exactly `unit`.
    const auto edge = [&](std::int64_t at) { return (at * unit + extent / 2) / extent; };
    const std::int64_t inputSize = static_cast<std::int64_t>(step) * output;
    for (int o = 0; o < output; ++o) {
        const std::int64_t begin = static_cast<std::int64_t>(o) * extent;
        const std::int64_t end = begin + extent;
        m_firsts.push_back(static_cast<int>(begin / inputSize));
        m_starts.push_back(m_weights.size());
        std::int64_t from = begin;
        while (from < end) {
            const std::int64_t to = std::min((from / inputSize + 1) * inputSize, end);
            m_weights.push_back(static_cast<std::uint32_t>(edge(to - begin) - edge(from - begin)));
            from = to;
        }
        m_counts.push_back(static_cast<int>(m_weights.size() - m_starts.back()));
    }
}

void averageColumns(const std::uint16_t* sums, const AreaWeights& columns, std::uint16_t* means) {
    for (int output = 0; output < columns.outputs(); ++output) {
        const std::uint16_t* const inputs = sums + columns.first(output);
        const std::uint32_t* const weights = columns.weights(output);
        std::uint32_t sum = kColumnUnit / 2;
        for (int i = 0; i < columns.count(output); ++i) {
            sum += inputs[i] * weights[i];
        }
        means[output] = static_cast<std::uint16_t>(sum / kColumnUnit);
    }
}

}  // namespace speedhq
