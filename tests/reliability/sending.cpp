#include "reliability/sending.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "support/videoframe.h"

namespace reliability {
namespace {

using std::chrono::steady_clock;

constexpr int kSteps = 4;

/// Milliseconds that the calling thread has spent waiting for a processor.
double waitedForProcessor() {
    double run = 0;
    double waited = 0;
    std::ifstream("/proc/thread-self/schedstat") >> run >> waited;
    return waited / 1e6;
}

/// A texture; that of the field in the middle has moved in each step.
std::vector<std::uint8_t> paint(int width, int height, int step) {
    std::vector<std::uint8_t> pixels;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const bool field =
                std::abs(2 * x - width) < width / 2 && std::abs(2 * y - height) < height / 2;
            const int u = field ? x + step * 7 : x;
            const int v = field ? y + step * 3 : y;
            const int texture = (u * u / 64 + v * 5) % 61 + (u * 3 + v * v / 32) % 37;
            for (const int channel : {60 + texture, 90 + texture, 40 + v % 128, 255}) {
                pixels.push_back(static_cast<std::uint8_t>(channel));
            }
        }
    }
    return pixels;
}

}  // namespace

void CallTimes::add(const CallTimes& more) {
    milliseconds.insert(milliseconds.end(), more.milliseconds.begin(), more.milliseconds.end());
}

double CallTimes::percentile(double share) const {
    if (milliseconds.empty()) {
        return 0;
    }
    std::vector<double> sorted = milliseconds;
    std::sort(sorted.begin(), sorted.end());
    const auto last = static_cast<double>(sorted.size() - 1);
    return sorted[static_cast<std::size_t>(last * share)];
}

std::string CallTimes::describe() const {
    return fmt::format("{} calls, median {:.2f} ms, 99th percentile {:.2f} ms, longest {:.2f} ms",
                       milliseconds.size(), percentile(0.5), percentile(0.99), percentile(1));
}

Sender::Sender(const std::string& name, int width, int height, double framesPerSecond) {
    // Paced here, so that a call takes as long as it works or is kept waiting.
    const NDIlib_send_create_t settings{name.c_str(), nullptr, false, false};
    if (NDIlib_initialize()) {
        m_instance = NDIlib_send_create(&settings);
    }
    if (m_instance != nullptr) {
        const std::chrono::nanoseconds interval(static_cast<std::int64_t>(1e9 / framesPerSecond));
        m_thread = std::thread([=] { loop(width, height, interval); });
    }
}

Sender::~Sender() {
    stop();
    if (m_instance != nullptr) {
        NDIlib_send_destroy(m_instance);
    }
}

void Sender::stop() {
    m_stop = true;
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

CallTimes Sender::takeCallTimes() {
    const std::lock_guard lock(m_mutex);
    CallTimes taken;
    std::swap(taken, m_times);
    return taken;
}

void Sender::loop(int width, int height, std::chrono::nanoseconds interval) {
    std::vector<std::vector<std::uint8_t>> frames;
    for (int step = 0; step < kSteps; ++step) {
        frames.push_back(paint(width, height, step));
    }
    auto frame = tests::bgraFrame(width, height, nullptr,
                                  static_cast<int>(1'000'000'000 / interval.count()));
    auto due = steady_clock::now();
    while (!m_stop) {
        const std::uint64_t number = m_sent + 1;
        frame.p_data = frames[number % kSteps].data();
        frame.timecode = static_cast<std::int64_t>(number);
        const double waitedBefore = waitedForProcessor();
        const auto before = steady_clock::now();
        NDIlib_send_send_video_v2(m_instance, &frame);
        const std::chrono::duration<double, std::milli> took = steady_clock::now() - before;
        const double waited = waitedForProcessor() - waitedBefore;
        {
            const std::lock_guard lock(m_mutex);
            m_times.milliseconds.push_back(std::max(0.0, took.count() - waited));
        }
        m_sent = number;
        // Slots that were missed are left out: a burst would lose frames of its own.
        due = std::max(due + interval, steady_clock::now());
        std::this_thread::sleep_until(due);
    }
}

bool longForm() {
    const char* const variable = std::getenv("RELIABILITY_LONG");
    return variable != nullptr && std::strcmp(variable, "1") == 0;
}

}  // namespace reliability
