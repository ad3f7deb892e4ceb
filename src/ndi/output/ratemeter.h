#pragma once
// The rate at which a counter grows.

#include <chrono>
#include <cstdint>

namespace ndi {

/// Measures over periods of about a second. Not thread-safe.
class RateMeter {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    explicit RateMeter(TimePoint start) : m_start(start) {}

    /// The rate per second. `count` is the counter's value at `now`; it never decreases.
    double update(TimePoint now, std::uint64_t count) {
        const std::chrono::duration<double> period = now - m_start;
        if (period >= std::chrono::milliseconds(900)) {
            m_rate = static_cast<double>(count - m_count) / period.count();
            m_start = now;
            m_count = count;
        }
        return m_rate;
    }

private:
    TimePoint m_start;
    std::uint64_t m_count = 0;
    double m_rate = 0;
};

}  // namespace ndi
