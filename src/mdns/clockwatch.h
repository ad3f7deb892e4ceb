#pragma once
// Detects that the machine slept, that the process was stopped, or that the clock was set.

#include <chrono>
#include <optional>
#include <utility>

namespace mdns {

/// Compares two clocks at regular calls. The monotonic clock stands still during sleep on Linux and
/// runs on Windows; the wall clock runs, and jumps when it is set.
class ClockWatch {
public:
    /// True when the clocks moved apart by more than three seconds since the last call, or when
    /// that call is more than ten seconds ago.
    [[nodiscard]] bool jumped(std::chrono::steady_clock::time_point monotonic,
                              std::chrono::system_clock::time_point wall) {
        constexpr std::chrono::seconds kMaxDrift{3};
        constexpr std::chrono::seconds kMaxInterval{10};
        bool found = false;
        if (m_last) {
            const auto passed = monotonic - m_last->first;
            const auto drift = (wall - m_last->second) - passed;
            found = passed > kMaxInterval || drift > kMaxDrift || drift < -kMaxDrift;
        }
        m_last.emplace(monotonic, wall);
        return found;
    }

private:
    std::optional<
        std::pair<std::chrono::steady_clock::time_point, std::chrono::system_clock::time_point>>
        m_last;
};

}  // namespace mdns
