#include "speedhq/areaaverage.h"

#include <cstring>

namespace speedhq {

namespace {

/// Half the divisor of a weighted sum, for rounding. The sums stay below 2^32.
constexpr std::uint32_t kHalf = kLineUnit * kColumnUnit / 2;

}  // namespace

AreaWeights::AreaWeights(int input, int output, int unit) {
    // Input i covers [i * output, (i + 1) * output), output o covers [o * input, (o + 1) * input).
    // Weights are differences of rounded edges, so they add up to exactly `unit`.
    const auto edge = [&](std::int64_t at) { return (at * unit + input / 2) / input; };
    for (int o = 0; o < output; ++o) {
        const std::int64_t begin = static_cast<std::int64_t>(o) * input;
        const std::int64_t end = begin + input;
        const int first = static_cast<int>(begin / output);
        m_firsts.push_back(first);
        m_starts.push_back(m_weights.size());
        std::int64_t from = begin;
        while (from < end) {
            const std::int64_t next = (from / output + 1) * output;
            const std::int64_t to = next < end ? next : end;
            m_weights.push_back(static_cast<std::uint32_t>(edge(to - begin) - edge(from - begin)));
            from = to;
        }
        m_counts.push_back(static_cast<int>(m_weights.size() - m_starts.back()));
    }
}

void addLine(std::uint16_t* sums, const std::uint8_t* bytes, std::size_t count, unsigned weight) {
    const auto factor = static_cast<std::uint16_t>(weight);
    for (std::size_t i = 0; i < count; ++i) {
        sums[i] = static_cast<std::uint16_t>(sums[i] + bytes[i] * factor);
    }
}

void averageColumns(const std::uint16_t* sums, const AreaWeights& columns, Channel channel,
                    std::uint8_t* line) {
    for (int output = 0; output < columns.outputs(); ++output) {
        const std::uint16_t* from = sums + channel.offset + columns.first(output) * channel.step;
        const std::uint32_t* const weights = columns.weights(output);
        std::uint32_t sum = kHalf;
        for (int i = 0; i < columns.count(output); ++i, from += channel.step) {
            sum += *from * weights[i];
        }
        line[channel.offset + output * channel.step] = static_cast<std::uint8_t>(sum >> 24);
    }
}

void averagePixels(const std::uint16_t* sums, const AreaWeights& columns, std::uint8_t* line) {
    // Two channels share a word, 32 bits each, so one multiplication weights both.
    constexpr std::uint64_t kChannels02 = 0x0000FFFF0000FFFF;
    constexpr std::uint64_t kHalves = kHalf | static_cast<std::uint64_t>(kHalf) << 32;
    for (int output = 0; output < columns.outputs(); ++output) {
        const std::uint16_t* from = sums + 4 * columns.first(output);
        const std::uint32_t* const weights = columns.weights(output);
        std::uint64_t sums02 = kHalves;
        std::uint64_t sums13 = kHalves;
        for (int i = 0; i < columns.count(output); ++i, from += 4) {
            std::uint64_t pixel;
            std::memcpy(&pixel, from, sizeof pixel);
            sums02 += (pixel & kChannels02) * weights[i];
            sums13 += (pixel >> 16 & kChannels02) * weights[i];
        }
        std::uint8_t* const to = line + 4 * output;
        to[0] = static_cast<std::uint8_t>(sums02 >> 24);
        to[1] = static_cast<std::uint8_t>(sums13 >> 24);
        to[2] = static_cast<std::uint8_t>(sums02 >> 56);
        to[3] = static_cast<std::uint8_t>(sums13 >> 56);
    }
}

}  // namespace speedhq
