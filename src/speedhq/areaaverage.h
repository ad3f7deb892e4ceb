#pragma once
// Scaling down by area average.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace speedhq {

/// How the samples of one direction share out to fewer: every output is the weighted mean of the
/// inputs it covers. Weights are whole numbers and add up to exactly `unit`.
class AreaWeights {
public:
    /// `output` is 1 to `input`.
    AreaWeights(int input, int output, int unit);

    [[nodiscard]] int outputs() const { return static_cast<int>(m_firsts.size()); }
    [[nodiscard]] int first(int output) const { return m_firsts[static_cast<std::size_t>(output)]; }
    [[nodiscard]] int count(int output) const { return m_counts[static_cast<std::size_t>(output)]; }
    /// Of the inputs from first() on.
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

/// Adds `weight` times each of the `count` bytes to the sums. Over the lines of one output line,
/// weighted in kLineUnit, the sums stay below 2^16.
void addLine(std::uint16_t* sums, const std::uint8_t* bytes, std::size_t count, unsigned weight);

/// Where the samples of one channel lie: `offset` bytes from the line's begin, `step` apart.
struct Channel {
    int offset;
    int step;
};

/// The means of sums of lines: `columns` in kColumnUnit. Rounded to the nearest.
void averageColumns(const std::uint16_t* sums, const AreaWeights& columns, Channel channel,
                    std::uint8_t* line);

/// The same for all four channels of 4-byte pixels at once.
void averagePixels(const std::uint16_t* sums, const AreaWeights& columns, std::uint8_t* line);

}  // namespace speedhq
