#pragma once
// Downscaling by area average.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace speedhq {

/// The weights for downscaling in one direction: every output is the weighted mean of as many
/// consecutive inputs, some of which may have the weight 0. The weights of an output are integers
/// that add up to exactly `unit`.
class AreaWeights {
public:
    /// Divides `extent` pixels equally among `output` samples. An input sample covers `step`
    /// pixels, the last one only those within the extent. There are at least as many inputs as
    /// outputs.
    AreaWeights(int extent, int step, int output, int unit);

    [[nodiscard]] int outputs() const { return static_cast<int>(m_firsts.size()); }
    /// The number of inputs of every output.
    [[nodiscard]] int inputs() const { return m_inputs; }
    [[nodiscard]] int first(int output) const { return m_firsts[static_cast<std::size_t>(output)]; }
    /// The weights of the inputs() inputs that begin with first().
    [[nodiscard]] const std::uint32_t* weights(int output) const {
        return &m_weights[static_cast<std::size_t>(output) * static_cast<std::size_t>(m_inputs)];
    }

private:
    int m_inputs = 0;
    std::vector<int> m_firsts;
    std::vector<std::uint32_t> m_weights;
};

inline constexpr int kLineUnit = 256;
inline constexpr int kColumnUnit = 65536;

/// Adds `weight` times each of the samples to the sums. The weights of one output line add up to
/// kLineUnit, so the sums stay below 2^16.
template <int count>
void addSamples(std::uint16_t* sums, const std::uint8_t* samples, unsigned weight) {
    const auto factor = static_cast<std::uint16_t>(weight);
    for (int i = 0; i < count; ++i) {
        sums[i] = static_cast<std::uint16_t>(sums[i] + samples[i] * factor);
    }
}

/// Averages the line sums of one component horizontally. `columns` has the unit kColumnUnit. The
/// means are in units of 1 / kLineUnit, rounded to nearest.
void averageColumns(const std::uint16_t* sums, const AreaWeights& columns, std::uint16_t* means);

}  // namespace speedhq
