#pragma once
// Frame rate and bit rate at the moment, for displays that are updated all the time.

#include <cstddef>
#include <cstdint>
#include <deque>

#include "monitor/statistics.h"

namespace monitor {

/// Covers the last two seconds. Times are those of ArrivedFrame::arrivedUs. Not thread-safe.
class RecentRate {
public:
    void add(const ArrivedFrame& frame);
    [[nodiscard]] double framesPerSecond(std::int64_t nowUs);
    [[nodiscard]] double megabitsPerSecond(std::int64_t nowUs);

    /// The current time on the clock of ArrivedFrame::arrivedUs.
    [[nodiscard]] static std::int64_t nowUs();

private:
    struct Entry {
        std::int64_t arrivedUs = 0;
        std::size_t bytes = 0;
    };

    /// Forgets what is too old and returns the length of the time covered, in seconds.
    double covered(std::int64_t nowUs);

    std::deque<Entry> m_entries;
    std::size_t m_bytes = 0;
    std::int64_t m_firstUs = -1;
};

}  // namespace monitor
