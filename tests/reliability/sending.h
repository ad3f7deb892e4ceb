#pragma once
// The sending side: a source made through the C interface, fed at 30 fps.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ndi/ndilib.h"
#include "support/footprint.h"

namespace reliability {

/// How long the send calls of a stretch of time took, in milliseconds, without the time in which
/// the sending thread was ready to run and the machine was busy with something else.
struct CallTimes {
    std::vector<double> milliseconds;

    void add(const CallTimes& more);
    [[nodiscard]] double percentile(double share) const;
    [[nodiscard]] std::string describe() const;
};

class Sender {
public:
    /// A frame of `width` x `height` in which a textured field of half its sides moves. The
    /// timecode counts the frames from 1.
    Sender(const std::string& name, int width, int height, double framesPerSecond = 30);
    /// Stops and destroys the source.
    ~Sender();
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    /// Null: it could not be made.
    [[nodiscard]] NDIlib_send_instance_t instance() const { return m_instance; }
    [[nodiscard]] std::uint64_t sent() const { return m_sent; }

    /// The calls since the last time this was asked for.
    [[nodiscard]] CallTimes takeCallTimes();

    /// Ends the sending; the source stays and repeats its last frame.
    void stop();

private:
    void loop(int width, int height, std::chrono::nanoseconds interval);

    NDIlib_send_instance_t m_instance = nullptr;
    std::atomic<bool> m_stop{false};
    std::atomic<std::uint64_t> m_sent{0};
    std::mutex m_mutex;
    CallTimes m_times;
    std::thread m_thread;
};

/// The long forms are asked for by RELIABILITY_LONG=1.
[[nodiscard]] bool longForm();

/// How many frames of 30 a second this machine itself costs every receiver at most, by having no
/// processor to spare: one for each half of a frame's time. The long forms, made for a machine
/// that does nothing else, excuse none.
[[nodiscard]] inline std::uint64_t framesMissedWaiting(const tests::Footprint& before,
                                                       const tests::Footprint& after) {
    const double waited = after.waitedMilliseconds - before.waitedMilliseconds;
    return longForm() ? 0 : static_cast<std::uint64_t>(waited / 16);
}

/// `shortly`, or `atLength` in the long form.
template <typename Value>
[[nodiscard]] Value scaled(Value shortly, Value atLength) {
    return longForm() ? atLength : shortly;
}

/// Built with a sanitizer: times and memory say nothing about the program then.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

}  // namespace reliability
