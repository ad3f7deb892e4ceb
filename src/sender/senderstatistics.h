#pragma once
// Loop rate and frame times of the senders. Each object belongs to one thread.

#include <cstdint>
#include <optional>

namespace sender {

/// Counts the passes of a capture loop, second by second.
class LoopRate {
public:
    static constexpr int kSeconds = 5;

    /// One pass at the time `now` (microseconds). After each kSeconds: the passes in them.
    [[nodiscard]] std::optional<int> pass(std::int64_t now) {
        ++m_count;
        if (m_secondBegan == 0) {
            m_secondBegan = now;
        }
        if (now - m_secondBegan > 1000000) {
            m_secondBegan = now;
            m_sum += m_count;
            m_count = 0;
            ++m_seconds;
        }
        if (m_seconds < kSeconds) {
            return std::nullopt;
        }
        const int sum = m_sum;
        m_seconds = 0;
        m_sum = 0;
        return sum;
    }

private:
    int m_count = 0;
    std::int64_t m_secondBegan = 0;  ///< 0: not started.
    int m_sum = 0;
    int m_seconds = 0;
};

/// Adds up the time per frame.
class FrameTimes {
public:
    static constexpr int kFrames = 100;

    /// One frame of `us` microseconds. After each kFrames: their sum.
    [[nodiscard]] std::optional<std::uint64_t> add(std::uint64_t us) {
        m_sum += us;
        if (++m_count < kFrames) {
            return std::nullopt;
        }
        const std::uint64_t sum = m_sum;
        m_sum = 0;
        m_count = 0;
        return sum;
    }

private:
    std::uint64_t m_sum = 0;
    int m_count = 0;
};

}  // namespace sender
