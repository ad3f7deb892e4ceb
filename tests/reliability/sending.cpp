#include "reliability/sending.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

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

long entriesOf(const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder),
                         std::filesystem::directory_iterator());
}

std::vector<std::uint8_t> paint(int width, int height, int step) {
    std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width) *
                                     static_cast<std::size_t>(height) * 4);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const bool field =
                x >= width / 4 && x < width * 3 / 4 && y >= height / 4 && y < height * 3 / 4;
            const int u = field ? x + step * 7 : x;
            const int v = field ? y + step * 3 : y;
            const int texture = (u * u / 64 + v * 5) % 61 + (u * 3 + v * v / 32) % 37;
            auto* const pixel =
                &pixels[(static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                         static_cast<std::size_t>(x)) *
                        4];
            pixel[0] = static_cast<std::uint8_t>(60 + texture);
            pixel[1] = static_cast<std::uint8_t>(field ? 90 + texture : 90 + x * 60 / width);
            pixel[2] = static_cast<std::uint8_t>(40 + v % 128);
            pixel[3] = 255;
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

Footprint Footprint::now() {
    Footprint footprint;
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0) {
            footprint.residentKiB = std::atol(line.c_str() + 6);
        }
    }
    footprint.threads = entriesOf("/proc/self/task");
    footprint.files = entriesOf("/proc/self/fd");
    return footprint;
}

std::string Footprint::describe() const {
    return fmt::format("{:.1f} MiB resident, {} threads, {} descriptors",
                       static_cast<double>(residentKiB) / 1024, threads, files);
}

Sender::Sender(const std::string& name, int width, int height, double picturesPerSecond)
    : m_width(width),
      m_height(height),
      m_interval(static_cast<std::int64_t>(1e9 / picturesPerSecond)) {
    for (int step = 0; step < kSteps; ++step) {
        m_pictures.push_back(paint(width, height, step));
    }
    // Paced here, so that a call takes as long as it works or is kept waiting.
    const NDIlib_send_create_t settings{name.c_str(), nullptr, false, false};
    if (NDIlib_initialize()) {
        m_instance = NDIlib_send_create(&settings);
    }
    if (m_instance != nullptr) {
        m_thread = std::thread([this] { loop(); });
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

void Sender::loop() {
    NDIlib_video_frame_v2_t frame{};
    frame.xres = m_width;
    frame.yres = m_height;
    frame.FourCC = NDIlib_FourCC_type_BGRA;
    frame.frame_rate_N = static_cast<int>(1'000'000'000'000 / m_interval.count());
    frame.frame_rate_D = 1000;
    frame.frame_format_type = NDIlib_frame_format_type_progressive;
    auto due = steady_clock::now();
    while (!m_stop) {
        const std::uint64_t number = m_sent + 1;
        frame.p_data = m_pictures[number % kSteps].data();
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
        // Slots that were missed are left out: a burst would lose pictures of its own.
        due = std::max(due + m_interval, steady_clock::now());
        std::this_thread::sleep_until(due);
    }
}

bool longForm() {
    const char* const variable = std::getenv("RELIABILITY_LONG");
    return variable != nullptr && std::strcmp(variable, "1") == 0;
}

}  // namespace reliability
