#pragma once
// Limits the number of log lines that others cause: peers, drivers, callers.
//
//     if (const auto more = m_limit.allows()) {
//         HV_WARN("what happened to {}{}", what, *more);
//     }

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace support {

/// Allows a few log lines in ten seconds, so that an error that recurs with every frame or
/// connection does not fill the log. Any thread.
class LogLimit {
public:
    explicit LogLimit(unsigned lines = 1) : m_lines(lines) {}

    /// Unset: don't log. Else the text for the end of the line: " (3 more since the last line)", or
    /// "" when none was suppressed.
    [[nodiscard]] std::optional<std::string> allows() {
        const auto now = std::chrono::steady_clock::now();
        const std::lock_guard lock(m_mutex);
        if (m_logged == 0 || now - m_windowStart >= std::chrono::seconds(10)) {
            m_windowStart = now;
            m_logged = 0;
        }
        if (m_logged == m_lines) {
            ++m_suppressed;
            return std::nullopt;
        }
        ++m_logged;
        const unsigned suppressed = std::exchange(m_suppressed, 0U);
        return suppressed == 0 ? ""
                               : " (" + std::to_string(suppressed) + " more since the last line)";
    }

private:
    const unsigned m_lines;
    std::mutex m_mutex;
    std::chrono::steady_clock::time_point m_windowStart;
    unsigned m_logged = 0;
    unsigned m_suppressed = 0;
};

}  // namespace support
