#pragma once
// Limits the number of log lines that others cause: peers, drivers, callers.

#include <chrono>
#include <mutex>
#include <string>

namespace support {

/// Allows a few log lines in ten seconds, so that an error that recurs with every frame or
/// connection does not fill the log. Any thread.
class LogLimit {
public:
    explicit LogLimit(unsigned lines = 1) : m_lines(lines) {}

    /// True: log now. `suppressed` is then the number of lines suppressed since the last one.
    [[nodiscard]] bool allows(unsigned& suppressed) {
        const auto now = std::chrono::steady_clock::now();
        const std::lock_guard lock(m_mutex);
        if (m_logged == 0 || now - m_windowStart >= std::chrono::seconds(10)) {
            m_windowStart = now;
            m_logged = 0;
        }
        if (m_logged == m_lines) {
            ++m_suppressed;
            return false;
        }
        ++m_logged;
        suppressed = m_suppressed;
        m_suppressed = 0;
        return true;
    }

private:
    const unsigned m_lines;
    std::mutex m_mutex;
    std::chrono::steady_clock::time_point m_windowStart;
    unsigned m_logged = 0;
    unsigned m_suppressed = 0;
};

/// For the end of a limited line.
[[nodiscard]] inline std::string moreLines(unsigned suppressed) {
    return suppressed == 0 ? "" : " (" + std::to_string(suppressed) + " more since the last line)";
}

}  // namespace support
