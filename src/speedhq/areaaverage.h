#pragma once
// Downscaling by area average.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace speedhq {

/// The weights for downscaling in one direction: every output is the weighted mean of the inputs it
/// covers. The weights of an output are integers that add up to exactly `unit`.
class AreaWeights {
public:
    /// `input` samples become `output` samples, 1 <= output <= input.
    AreaWeights(int input, int output, int unit);

    [[nodiscard]] int outputs() const { return static_cast<int>(m_firsts.size()); }
    [[nodiscard]] int first(int output) const { return m_firsts[static_cast<std::size_t>(output)]; }
    [[nodiscard]] int count(int output) const { return m_counts[static_cast<std::size_t>(output)]; }
    /// The weights of the count() inputs that begin with first().
    [[nodiscard]] const std::uint32_t* weights(int output) const {
        return &m_weights[m_starts[static_cast<std::size_t>(output)]];
    }

private:
    std::vector<int> m_firsts;
    std::vector<int> m_counts;
    std::vector<std::size_t> m_starts;
    std::vector<std::uint32_t> m_weights;
};

inline constexpr int kLineUnit = 256;
inline constexpr int kColumnUnit = 65536;

/// Adds `weight` times each of the `count` bytes to the sums. The weights of one output line add up
/// to kLineUnit, so the sums stay below 2^16.
void addLine(std::uint16_t* sums, const std::uint8_t* bytes, std::size_t count, unsigned weight);

/// The samples of one channel: the first is `offset` bytes from the start of the line, the others
/// follow `step` bytes apart.
struct Channel {
    int offset;
    int step;
};

/// Averages the line sums of one channel horizontally and writes the output line. `columns` has the
/// unit kColumnUnit. Rounds to nearest.
void averageColumns(const std::uint16_t* sums, const AreaWeights& columns, Channel channel,
                    std::uint8_t* line);

/// averageColumns() for all four channels of 4-byte pixels at once.
void averagePixels(const std::uint16_t* sums, const AreaWeights& columns, std::uint8_t* line);

}  // namespace speedhq
