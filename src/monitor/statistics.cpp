#include "monitor/statistics.h"

#include <algorithm>
#include <cmath>

namespace monitor {
namespace {

constexpr std::size_t kMaxLatencies = 100000;
constexpr double kPause100ns = 0.9e7;

/// a - b. Timestamps come from the network and may have any value, so this wraps instead of
/// overflowing.
double difference(std::int64_t a, std::int64_t b) {
    return static_cast<double>(
        static_cast<std::int64_t>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b)));
}

}  // namespace

void Statistics::add(const Frame& frame) {
    if (m_frames++ == 0) {
        m_firstUs = frame.arrivedUs;
    } else {
        m_bytesAfterFirst += frame.bytes;
    }
    m_lastUs = frame.arrivedUs;
    if (frame.timestamp100ns == 0) {
        return;
    }

    const auto step = difference(frame.timestamp100ns, m_lastTimestamp);
    if (m_lastTimestamp != 0 && step >= kPause100ns) {
        ++m_pauses;
        m_longestPause = std::max(m_longestPause, step / 1e7);
    } else if (m_lastTimestamp != 0 && step > 1.5 * frame.period100ns) {
        m_missing += static_cast<std::uint64_t>(std::lround(step / frame.period100ns)) - 1;
    }
    m_lastTimestamp = frame.timestamp100ns;

    const auto latency =
        static_cast<float>(difference(frame.wallClock100ns, frame.timestamp100ns) / 1e4);
    if (m_latencies.size() < kMaxLatencies) {
        m_latencies.push_back(latency);
    } else {
        m_latencies[m_nextLatency] = latency;
        m_nextLatency = (m_nextLatency + 1) % kMaxLatencies;
    }
}

double Statistics::seconds() const {
    return static_cast<double>(m_lastUs - m_firstUs) / 1e6;
}

double Statistics::framesPerSecond() const {
    return seconds() > 0 ? static_cast<double>(m_frames - 1) / seconds() : 0;
}

double Statistics::megabitsPerSecond() const {
    return seconds() > 0 ? static_cast<double>(m_bytesAfterFirst) * 8 / 1e6 / seconds() : 0;
}

std::optional<Latency> Statistics::latency() const {
    if (m_latencies.empty()) {
        return std::nullopt;
    }
    auto sorted = m_latencies;
    std::sort(sorted.begin(), sorted.end());
    // The smallest value such that the given share of all values is not above it.
    const auto rank = [&](double share) {
        const auto needed = std::ceil(share * static_cast<double>(sorted.size()));
        return double{sorted[static_cast<std::size_t>(std::max(needed, 1.0)) - 1]};
    };
    return Latency{sorted.front(), rank(0.5), rank(0.99), sorted.back()};
}

}  // namespace monitor
