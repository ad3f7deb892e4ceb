// CPU time of a Wayland capture alone against one memcpy of the same rows, 1920x1080: counter
// "ratio". Both are measured in turn, so that a busy machine slows both.

#include <benchmark/benchmark.h>
#include <time.h>

#include <cstring>
#include <utility>
#include <vector>

#include "capture/pipewire/framebox.h"

namespace {

using namespace capture::pipewire;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr std::size_t kStride = std::size_t{kWidth} * 4;

double threadSeconds() {
    timespec used = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) * 1e-9;
}

void captureOfRows(benchmark::State& state) {
    const int rows = static_cast<int>(state.range(0));
    std::vector<std::uint8_t> buffers[2] = {std::vector<std::uint8_t>(kStride * kHeight, 1),
                                            std::vector<std::uint8_t>(kStride * kHeight, 2)};
    std::vector<std::uint8_t> dest(kStride * kHeight);
    std::vector<std::uint8_t> copy(kStride * kHeight);
    FrameBox box;
    support::DirtyRows dirty;
    double captured = 0;
    double copied = 0;
    for (auto _ : state) {
        auto& buffer = buffers[0];
        std::swap(buffers[0], buffers[1]);
        const double start = threadSeconds();
        const std::vector<Damage> damage = {{0, 300, kWidth, rows}};
        Image image;
        image.pixels = buffer.data();
        image.stride = kStride;
        image.width = kWidth;
        image.height = kHeight;
        image.order = static_cast<PixelOrder>(state.range(1));
        // The box only hands the address of a buffer's owner back.
        benchmark::DoNotOptimize(box.put(reinterpret_cast<pw_buffer*>(&buffer), image,
                                         rows < kHeight ? &damage : nullptr));
        benchmark::DoNotOptimize(box.read({0, 0, kWidth, kHeight, dest.data()}, dirty));
        const double middle = threadSeconds();
        const std::size_t from = rows < kHeight ? 300 * kStride : 0;
        std::memcpy(copy.data() + from, buffer.data() + from,
                    static_cast<std::size_t>(rows) * kStride);
        benchmark::ClobberMemory();
        captured += middle - start;
        copied += threadSeconds() - middle;
    }
    state.counters["ratio"] = captured / copied;
}
BENCHMARK(captureOfRows)
    ->ArgNames({"rows", "order"})
    ->ArgsProduct({{kHeight, 216, 32}, {0, 1, 2}})
    ->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
