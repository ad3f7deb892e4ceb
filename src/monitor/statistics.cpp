#include "monitor/statistics.h"

#include <algorithm>
#include <cmath>

namespace monitor {
namespace {

constexpr std::size_t kMaxLatencies = 100000;
constexpr double kPauseSeconds = 0.9;
/// How long the timestamps must have kept the announced rate.
constexpr double kCadence100ns = 1e7;
/// What two clocks may drift apart: the fastest arrival counts for less the longer it is ago.
constexpr double kDrift = 0.001;

/// a - b. Timestamps come from the network and may have any value, so this wraps instead of
/// overflowing.
double difference(std::int64_t a, std::int64_t b) {
    return static_cast<double>(
        static_cast<std::int64_t>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b)));
}

}  // namespace

void CadenceCheck::add(const ArrivedFrame& frame) {
    if (m_previous && m_previous->timestamp100ns == frame.timestamp100ns) {
        return;  // The same frame again.
    }
    const double step =
        m_previous ? difference(frame.timestamp100ns, m_previous->timestamp100ns) : 0;
    if (step < 0) {
        restart();  // The source's clock was set back.
    }
    const double lateness = latenessOf(frame);
    const double period = frame.period100ns;
    if (m_previous && step > 0) {
        const auto slots = static_cast<std::int64_t>(std::min(std::round(step / period), 1e6)) - 1;
        const bool inCadence = m_steady100ns >= kCadence100ns;
        if (inCadence && lateness > period) {
            ++m_late;
        }
        if (slots > 0) {
            addGap(slots, std::max(lateness, m_previous->lateness100ns), period);
        } else {
            m_steady100ns = step > 0.5 * period ? m_steady100ns + step : 0;
        }
    }
    m_previous = Previous{frame.timestamp100ns, lateness};
}

/// How much longer this frame took to arrive than the fastest one.
double CadenceCheck::latenessOf(const ArrivedFrame& frame) {
    const double delay =
        static_cast<double>(frame.arrivedUs) * 10 - static_cast<double>(frame.timestamp100ns);
    if (m_fastest100ns) {
        const auto age = static_cast<double>(frame.arrivedUs - m_fastestAtUs) * 10;
        *m_fastest100ns += kDrift * age;
    }
    m_fastest100ns = std::min(m_fastest100ns.value_or(delay), delay);
    m_fastestAtUs = frame.arrivedUs;
    return delay - *m_fastest100ns;
}

void CadenceCheck::addGap(std::int64_t slots, double lateness100ns, double period100ns) {
    if (m_steady100ns < kCadence100ns || lateness100ns <= period100ns) {
        m_steady100ns = 0;  // The source had nothing new.
        return;
    }
    const auto heldUp = static_cast<std::int64_t>(std::min(lateness100ns / period100ns, 1e6));
    m_lost += static_cast<std::uint64_t>(std::min(slots, heldUp));
    if (slots > heldUp + 1) {
        m_steady100ns = 0;
    }
}

void CadenceCheck::restart() {
    m_previous.reset();
    m_fastest100ns.reset();
    m_steady100ns = 0;
}

void Statistics::add(const ArrivedFrame& frame) {
    if (m_frames++ == 0) {
        m_firstUs = frame.arrivedUs;
    } else {
        m_bytesAfterFirst += frame.bytes;
        const double gap = static_cast<double>(frame.arrivedUs - m_lastUs) / 1e6;
        m_longestGapSeconds = std::max(m_longestGapSeconds, gap);
        m_pauses += gap >= kPauseSeconds ? 1 : 0;
        // Sums of squares would lose the difference between large numbers.
        const double distance = gap - m_meanGap;
        m_meanGap += distance / static_cast<double>(m_frames - 1);
        m_squaredDistance += distance * (gap - m_meanGap);
    }
    m_lastUs = frame.arrivedUs;
    if (frame.timestamp100ns != 0) {
        m_cadence.add(frame);
        addLatency(frame);
    }
}

void Statistics::addLatency(const ArrivedFrame& frame) {
    const auto latency =
        static_cast<float>(difference(frame.wallClock100ns, frame.timestamp100ns) / 1e4);
    if (m_latencies.size() < kMaxLatencies) {
        m_latencies.push_back(latency);
    } else {
        m_latencies[m_nextLatency] = latency;
        m_nextLatency = (m_nextLatency + 1) % kMaxLatencies;
    }
}

std::optional<std::uint64_t> Statistics::lateOrLost() const {
    if (m_latencies.empty()) {
        return std::nullopt;
    }
    return m_cadence.lateOrLost();
}

double Statistics::intervalDeviationMs() const {
    return m_frames > 1 ? 1e3 * std::sqrt(m_squaredDistance / static_cast<double>(m_frames - 1))
                        : 0;
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
