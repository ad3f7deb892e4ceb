#pragma once
// What arrived, counted.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace monitor {

struct Latency {
    double least = 0;  ///< Milliseconds, all four.
    double median = 0;
    double p99 = 0;
    double most = 0;
};

/// Feed it every frame. One thread.
class Statistics {
public:
    struct Frame {
        std::int64_t arrivedUs = 0;       ///< Of a clock that only moves forward.
        std::int64_t wallClock100ns = 0;  ///< Since 1970, at the same moment.
        std::int64_t timestamp100ns = 0;  ///< The frame's own; 0: it has none.
        double period100ns = 0;           ///< Of the announced rate.
        std::size_t bytes = 0;
    };

    void add(const Frame& frame);
    void addCorrupt() { ++m_corrupt; }

    [[nodiscard]] std::uint64_t frames() const { return m_frames; }
    [[nodiscard]] std::uint64_t corrupt() const { return m_corrupt; }

    /// Frames that the announced rate would have had between two that arrived, by their
    /// timestamps. A source that stands still sends about one frame a second; an interval of 0.9
    /// seconds or more is therefore a pause and adds nothing here.
    [[nodiscard]] std::uint64_t missing() const { return m_missing; }
    [[nodiscard]] std::uint64_t pauses() const { return m_pauses; }
    [[nodiscard]] double longestPauseSeconds() const { return m_longestPause; }

    /// From the first to the last frame.
    [[nodiscard]] double seconds() const;
    [[nodiscard]] double framesPerSecond() const;
    [[nodiscard]] double megabitsPerSecond() const;

    /// Arrival against timestamp; means something when both clocks agree. Of the last 100,000
    /// frames that had a timestamp; empty when none had.
    [[nodiscard]] std::optional<Latency> latency() const;

private:
    std::uint64_t m_frames = 0;
    std::uint64_t m_corrupt = 0;
    std::uint64_t m_missing = 0;
    std::uint64_t m_pauses = 0;
    double m_longestPause = 0;
    std::uint64_t m_bytesAfterFirst = 0;
    std::int64_t m_firstUs = 0;
    std::int64_t m_lastUs = 0;
    std::int64_t m_lastTimestamp = 0;
    std::vector<float> m_latencies;
    std::size_t m_nextLatency = 0;
};

}  // namespace monitor
