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

/// One frame as it arrives.
struct ArrivedFrame {
    std::int64_t arrivedUs = 0;       ///< Microseconds of a monotonic clock.
    std::int64_t wallClock100ns = 0;  ///< Time of arrival since 1970-01-01 UTC.
    std::int64_t timestamp100ns = 0;  ///< The frame's timestamp; 0 if it has none.
    double period100ns = 0;           ///< One frame at the announced rate.
    std::size_t bytes = 0;
};

/// Counts the frames that were certainly late or lost.
///
/// The stream has no sequence numbers, and a source that has nothing new sends nothing: a gap alone
/// proves nothing. But the connection is TCP, so a frame is lost only while the connection is held
/// up, and then a frame beside the gap arrives late. Frames therefore count only while the source
/// keeps its cadence, which it does once the timestamps of a whole second followed each other at
/// the announced rate:
/// - A frame is late if it took more than one period longer to arrive than the fastest frame.
/// - The slots of a gap beside a late frame are lost, as many as fit into that frame's delay.
/// Not thread-safe.
class CadenceCheck {
public:
    /// For every frame that has a timestamp, in the order of arrival.
    void add(const ArrivedFrame& frame);

    [[nodiscard]] std::uint64_t lateOrLost() const { return m_late + m_lost; }

private:
    struct Previous {
        std::int64_t timestamp100ns = 0;
        double lateness100ns = 0;
    };

    double latenessOf(const ArrivedFrame& frame);
    void addGap(std::int64_t slots, double lateness100ns, double period100ns);
    void restart();

    std::optional<Previous> m_previous;
    std::optional<double> m_fastest100ns;  ///< Least arrival minus timestamp, of unrelated clocks.
    std::int64_t m_fastestAtUs = 0;
    double m_steady100ns = 0;  ///< For how long the timestamps have kept the announced rate.
    std::uint64_t m_late = 0;
    std::uint64_t m_lost = 0;
};

/// Not thread-safe.
class Statistics {
public:
    /// To be called for every frame that arrives.
    void add(const ArrivedFrame& frame);
    void addCorrupt() { ++m_corrupt; }

    [[nodiscard]] std::uint64_t frames() const { return m_frames; }
    [[nodiscard]] std::uint64_t corrupt() const { return m_corrupt; }

    /// See CadenceCheck. Empty if no frame had a timestamp.
    [[nodiscard]] std::optional<std::uint64_t> lateOrLost() const;

    /// Time between the arrivals of two frames in a row. An interval of 0.9 seconds or more is a
    /// pause: about once per second a source repeats its frame while its screen does not change.
    [[nodiscard]] double longestGapSeconds() const { return m_longestGapSeconds; }
    [[nodiscard]] std::uint64_t pauses() const { return m_pauses; }

    /// The standard deviation of that time, in milliseconds.
    [[nodiscard]] double intervalDeviationMs() const;

    /// From the first to the last frame.
    [[nodiscard]] double seconds() const;
    [[nodiscard]] double framesPerSecond() const;
    [[nodiscard]] double megabitsPerSecond() const;

    /// Time of arrival minus timestamp, which is meaningful only if both clocks agree. Covers the
    /// last 100,000 frames that had a timestamp; empty if none had.
    [[nodiscard]] std::optional<Latency> latency() const;

private:
    void addLatency(const ArrivedFrame& frame);

    std::uint64_t m_frames = 0;
    std::uint64_t m_corrupt = 0;
    std::uint64_t m_pauses = 0;
    double m_longestGapSeconds = 0;
    double m_meanGap = 0;          ///< In seconds.
    double m_squaredDistance = 0;  ///< The sum of the squared differences from it.
    std::uint64_t m_bytesAfterFirst = 0;
    std::int64_t m_firstUs = 0;
    std::int64_t m_lastUs = 0;
    CadenceCheck m_cadence;
    std::vector<float> m_latencies;
    std::size_t m_nextLatency = 0;
};

}  // namespace monitor
