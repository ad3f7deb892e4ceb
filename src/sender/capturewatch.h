#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "capture/screencapturer.h"

namespace sender {

/// Decides how a send thread goes on when its capturer gives no frame, and what the operator is
/// told about it. Times are monotonic milliseconds. One thread at a time, except for reason().
class CaptureWatch {
public:
    /// In the first second of a failure an attempt costs no more than no frame does; afterwards
    /// there are at most four attempts a second. What fails for seconds is initialised again even
    /// if the capturer does not ask for it.
    struct Advice {
        std::int64_t pauseMs = 0;
        bool initAgain = false;  ///< Before the pause.
    };

    /// A read has given no frame at the time `now`.
    [[nodiscard]] Advice noFrame(const CaptureFailure& failure, std::int64_t now);
    /// A read has given a frame.
    void frame();
    /// The capture was opened, or not: `error` is told at once.
    void opened(const std::string& error);

    /// Why nothing is captured, part of a sentence; "" until it has lasted five seconds.
    [[nodiscard]] std::string reason() const;

private:
    void publish(std::string reason);

    std::optional<std::int64_t> m_failingSince;
    std::optional<std::int64_t> m_lastInit;
    std::string m_published;  ///< The sending thread's copy of m_reason.
    mutable std::mutex m_reasonMutex;
    std::string m_reason;
};

}  // namespace sender
