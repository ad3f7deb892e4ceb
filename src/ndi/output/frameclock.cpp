#include "ndi/output/frameclock.h"

namespace ndi {

using std::chrono::nanoseconds;

namespace {

/// A caller later than this starts a new grid.
constexpr std::chrono::seconds kMaxLateness(1);

/// Shorter slots are not paced: a wait can't be that exact.
constexpr std::chrono::microseconds kShortestSlot(100);

}  // namespace

std::int64_t Timekeeper::wallClock() {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<nanoseconds>(sinceEpoch).count() / 100;
}

void Timekeeper::waitUntil(TimePoint when) {
    std::unique_lock lock(m_mutex);
    m_wake.wait_until(lock, when, [this] { return m_released; });
}

void Timekeeper::release() {
    {
        const std::lock_guard lock(m_mutex);
        m_released = true;
    }
    m_wake.notify_all();
}

FrameClock::TimePoint FrameClock::next(TimePoint now, int rateNumerator, int rateDenominator) {
    const bool newRate = m_numerator != rateNumerator || m_denominator != rateDenominator;
    if (newRate || now - m_slot > kMaxLateness) {
        const std::int64_t cycleNs = std::int64_t{rateDenominator} * 1'000'000'000;
        m_numerator = rateNumerator;
        m_denominator = rateDenominator;
        m_wholeNs = cycleNs / rateNumerator;
        m_remainder = cycleNs % rateNumerator;
        m_accumulated = 0;
        m_slot = now;
    }
    if (nanoseconds(m_wholeNs) < kShortestSlot) {
        return now;
    }
    advance();
    const TimePoint due = m_slot;
    while (m_slot + nanoseconds(m_wholeNs + 1) <= now) {
        advance();
    }
    return due;
}

void FrameClock::advance() {
    m_slot += nanoseconds(m_wholeNs);
    m_accumulated += m_remainder;
    if (m_accumulated >= m_numerator) {
        m_accumulated -= m_numerator;
        m_slot += nanoseconds(1);
    }
}

}  // namespace ndi
