#pragma once
// The time base of sending: when the next frame is due.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace ndi {

/// The clocks that sending uses; a test can replace it. Any thread.
class Timekeeper {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    Timekeeper() = default;
    Timekeeper(const Timekeeper&) = delete;
    Timekeeper& operator=(const Timekeeper&) = delete;
    virtual ~Timekeeper() = default;

    [[nodiscard]] virtual TimePoint now() { return std::chrono::steady_clock::now(); }

    /// Units of 100 ns since 1970-01-01 UTC.
    [[nodiscard]] virtual std::int64_t wallClock();

    /// Returns at `when`, or at once when release() was called.
    virtual void waitUntil(TimePoint when);

    /// Ends every wait, now and later.
    virtual void release();

private:
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_released = false;
};

/// The slots of a frame rate: a grid on an absolute clock, so that rounding and late callers cause
/// no drift. Not thread-safe.
class FrameClock {
public:
    using TimePoint = Timekeeper::TimePoint;

    /// The slot to wait for after a frame of that rate was sent at `now`; not later than `now` for
    /// a late caller. Missed slots are skipped, never made up for. The first call, a call more than
    /// a second late and the first call after a change of rate start a new grid at `now`. Both
    /// numbers are positive; above 10,000 fps the result is `now`.
    [[nodiscard]] TimePoint next(TimePoint now, int rateNumerator, int rateDenominator);

private:
    void advance();

    int m_numerator = 0;
    int m_denominator = 0;
    std::int64_t m_wholeNs = 0;      ///< The slot length's whole nanoseconds ...
    std::int64_t m_remainder = 0;    ///< ... and the rest, in numerator-ths of a nanosecond.
    std::int64_t m_accumulated = 0;  ///< Of the rest, below one nanosecond.
    TimePoint m_slot;
};

}  // namespace ndi
