#pragma once
// Counts the frames that arrive from one source.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace monitor {

struct Latency {
    double least = 0;  ///< In milliseconds, as all four.
    double median = 0;
    double p99 = 0;
    double most = 0;
};

/// Not thread-safe.
class Statistics {
public:
    struct Frame {
        std::int64_t arrivedUs = 0;       ///< Microseconds of a monotonic clock.
        std::int64_t wallClock100ns = 0;  ///< Time of arrival since 1970-01-01 UTC.
        std::int64_t timestamp100ns = 0;  ///< The frame's timestamp; 0 if it has none.
        double period100ns = 0;           ///< One frame at the announced rate.
        std::size_t bytes = 0;
    };

    /// To be called for every frame that arrives.
    void add(const Frame& frame);
    void addCorrupt() { ++m_corrupt; }

    [[nodiscard]] std::uint64_t frames() const { return m_frames; }
    [[nodiscard]] std::uint64_t corrupt() const { return m_corrupt; }

    /// How many more frames the announced rate would have placed between those that arrived,
    /// judged by their timestamps. A source whose screen does not change repeats its frame about
    /// once per second; an interval of 0.9 seconds or more is therefore a pause and not counted.
    [[nodiscard]] std::uint64_t missing() const { return m_missing; }
    [[nodiscard]] std::uint64_t pauses() const { return m_pauses; }
    [[nodiscard]] double longestPauseSeconds() const { return m_longestPause; }

    /// From the first to the last frame.
    [[nodiscard]] double seconds() const;
    [[nodiscard]] double framesPerSecond() const;
    [[nodiscard]] double megabitsPerSecond() const;

    /// Time of arrival minus timestamp, which is meaningful only if both clocks agree. Covers the
    /// last 100,000 frames that had a timestamp; empty if none had.
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
