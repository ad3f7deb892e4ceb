#pragma once
// Waiting for a condition instead of a fixed time.

#include <chrono>
#include <thread>

namespace tests {

/// The limit for what happens at once on an idle machine; a loaded one takes longer.
constexpr std::chrono::milliseconds kPatience = std::chrono::seconds(20);

inline void sleepFor(std::chrono::milliseconds time) {
    std::this_thread::sleep_for(time);
}

/// Evaluates `condition` every few milliseconds until it holds. False: not within `limit`.
template <typename Condition>
[[nodiscard]] bool eventually(Condition condition, std::chrono::milliseconds limit = kPatience) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        sleepFor(std::chrono::milliseconds(5));
    }
    return true;
}

}  // namespace tests
