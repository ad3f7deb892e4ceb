// Cost of the default capture path on a virtual screen of 1920x1080.

#include <benchmark/benchmark.h>
#include <time.h>

#include <chrono>
#include <cstring>
#include <thread>
#include <vector>

#include "capture/x11/x11capturescreen.h"
#include "ndi/ndilibrary.h"
#include "sender/ndidxsender.h"
#include "support/painter.h"
#include "support/virtualdisplay.h"

namespace {

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr std::size_t kBytes = std::size_t{kWidth} * kHeight * 4;
int g_sent = 0;

struct Screen {
    tests::VirtualDisplay display = tests::VirtualDisplay::xvfb("1920x1080x24");
    tests::Painter painter{display.name()};
    X11CaptureScreen capturer{display.name()};
    std::vector<unsigned char> pixels = std::vector<unsigned char>(kBytes);

    Screen() { capturer.InitCapture(nullptr); }
    bool read(std::vector<unsigned char>& dest) {
        return capturer.ReadScreenData(0, 0, kWidth, kHeight, dest.data());
    }
    /// As the sender reads for the built-in output.
    bool readInPlace() {
        return capturer.ReadFrame(0, 0, kWidth, kHeight, pixels.data()) != nullptr;
    }
};

double processSeconds() {
    timespec used = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
}

void copyOfAFrame(benchmark::State& state) {
    std::vector<unsigned char> from(kBytes, 1);
    std::vector<unsigned char> to(kBytes);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), kBytes);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(copyOfAFrame)->Unit(benchmark::kMicrosecond)->UseRealTime();

void readOfTheWholeScreen(benchmark::State& state) {
    Screen screen;
    auto other = screen.pixels;
    for (auto _ : state) {
        // Another buffer each time, so every read fetches everything.
        screen.pixels.swap(other);
        if (!screen.read(screen.pixels)) {
            state.SkipWithError("no frame");
        }
    }
}
BENCHMARK(readOfTheWholeScreen)->Unit(benchmark::kMicrosecond)->UseRealTime();

/// A rectangle of that width and height was drawn.
template <bool InPlace>
void readOfDamage(benchmark::State& state) {
    Screen screen;
    const auto read = [&] { return InPlace ? screen.readInPlace() : screen.read(screen.pixels); };
    const int width = static_cast<int>(state.range(0));
    const int height = static_cast<int>(state.range(1));
    std::uint32_t colour = 0;
    while (read()) {
    }
    for (auto _ : state) {
        screen.painter.fill(screen.painter.root(), {0, 30, width, height}, ++colour);
        bool isNew = false;
        while (!isNew) {
            const auto start = std::chrono::steady_clock::now();
            isNew = read();
            const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
            state.SetIterationTime(took.count());
        }
    }
}
BENCHMARK_TEMPLATE(readOfDamage, false)
    ->Name("readOfDamage/copied")
    ->Args({64, 64})
    ->Args({800, 600})
    ->Args({1920, 1050})
    ->Unit(benchmark::kMicrosecond)
    ->UseManualTime();
BENCHMARK_TEMPLATE(readOfDamage, true)
    ->Name("readOfDamage/in place")
    ->Args({64, 64})
    ->Args({800, 600})
    ->Args({1920, 1050})
    ->Unit(benchmark::kMicrosecond)
    ->UseManualTime();

/// 20 seconds without damage: the process's own CPU time in per cent of a core, and how many frames
/// were sent (the first one only).
void stillScreen(benchmark::State& state) {
    const auto display = tests::VirtualDisplay::xvfb("1920x1080x24");
    const tests::DisplayVariable variable(display.name());
    NdiDxSender sender("bench", nullptr);
    for (auto _ : state) {
        g_sent = 0;
        if (!sender.initParmeter(0, 0, kWidth, kHeight, 30, "screen")) {
            state.SkipWithError("no capture");
            return;
        }
        sender.start();
        std::this_thread::sleep_for(std::chrono::seconds(1));
        const double before = processSeconds();
        const auto start = std::chrono::steady_clock::now();
        std::this_thread::sleep_for(std::chrono::seconds(20));
        const double used = processSeconds() - before;
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        sender.stop();
        state.counters["cpu_percent"] = 100 * used / took.count();
        state.counters["sent"] = g_sent;
    }
}
BENCHMARK(stillScreen)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

}  // namespace

// A library that takes frames and does nothing with them: only the capture is measured.
void ndi::hintDirtyRows(NDIlib_send_instance_t, const support::DirtyRows&) {}

bool ndi::readsAlpha() {
    return false;
}

void NDIlib_send_send_video_v2(NDIlib_send_instance_t, const NDIlib_video_frame_v2_t*) {
    ++g_sent;
}

BENCHMARK_MAIN();
