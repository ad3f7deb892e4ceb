// The cost of a frame: this encoder against libswscale and libavcodec, by scene, kernels and number
// of threads. bench/ratios.sh prints the results as a table.

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "libavencoder.h"
#include "scenes.h"
#include "speedhq/incrementalencoder.h"
#include "speedhq/preview.h"

namespace {

using bench::Desktop;
using bench::Scene;
using benchmark::State;

constexpr int kQuality = 80;
const speedhq::ColourMatrix& kMatrix =
    speedhq::colourMatrixFor(speedhq::ColourChoice::Bt709, 1920, 1080);

const char* nameOf(Scene scene) {
    constexpr const char* kNames[] = {"full", "caret", "scrolling", "nothing"};
    return kNames[static_cast<int>(scene)];
}

/// libswscale and libavcodec process every pixel in every scene.
void libav(State& state, Scene scene, int width, int height) {
    Desktop desktop(width, height);
    bench::LibavEncoder encoder(width, height, kQuality);
    std::size_t bytes = 0;
    for (auto _ : state) {
        state.PauseTiming();
        desktop.advance(scene);
        const speedhq::FrameView view = desktop.view();
        state.ResumeTiming();
        bytes = encoder.encodeBgra(view.pixels, view.stride).size;
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}

void ours(State& state, const speedhq::Kernels* kernels, Scene scene, int width, int height,
          int threads, bool hint) {
    if (kernels == nullptr) {
        state.SkipWithError("not supported by this processor");
        return;
    }
    Desktop desktop(width, height);
    speedhq::WorkerPool pool(threads);
    speedhq::IncrementalEncoder encoder(pool, *kernels);
    (void)encoder.encode(desktop.view(), {}, kQuality);
    const support::DirtyRows unknown;
    std::size_t bytes = 0;
    for (auto _ : state) {
        state.PauseTiming();
        desktop.advance(scene);
        const speedhq::FrameView view = desktop.view();
        state.ResumeTiming();
        bytes = encoder.encode(view, hint ? desktop.dirty() : unknown, kQuality)->size;
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}

/// What a frame costs while no receivers are connected.
void noReceivers(State& state, Scene scene) {
    Desktop desktop(1920, 1080);
    speedhq::WorkerPool pool(1);
    speedhq::IncrementalEncoder encoder(pool, speedhq::bestKernels());
    for (auto _ : state) {
        state.PauseTiming();
        desktop.advance(scene);
        state.ResumeTiming();
        encoder.updateReference(desktop.view(), desktop.dirty());
    }
}

/// Copies the pixels of a frame, for comparison.
void copyFrame(State& state) {
    Desktop desktop(1920, 1080);
    std::vector<std::uint8_t> copy(1920 * 1080 * 4);
    for (auto _ : state) {
        state.PauseTiming();
        desktop.advance(Scene::FullMotion);
        state.ResumeTiming();
        std::memcpy(copy.data(), desktop.view().pixels, copy.size());
        benchmark::DoNotOptimize(copy.data());
    }
}

/// The preview alone: the main stream's reference frame is already up to date.
void preview(State& state, Scene scene) {
    Desktop desktop(1920, 1080);
    speedhq::WorkerPool pool(1);
    speedhq::IncrementalEncoder full(pool, speedhq::bestKernels());
    speedhq::Preview small(pool, speedhq::bestKernels());
    std::size_t bytes = 0;
    for (auto _ : state) {
        state.PauseTiming();
        desktop.advance(scene);
        full.updateReference(desktop.view(), desktop.dirty());
        state.ResumeTiming();
        bytes = small.encode(full, desktop.view())->size;
    }
    state.counters["bytes"] = static_cast<double>(bytes);
}

/// Calls a kernel function with each macroblock of a frame. The result is the time per macroblock.
template <typename Call>
void perMacroblock(State& state, Call call) {
    const Desktop desktop(1920, 1080);
    const speedhq::FrameView view = desktop.view();
    const int columns = view.width / 16;
    const int rows = view.height / 16;
    int at = 0;
    for (auto _ : state) {
        call(view.pixels + at / columns * 16 * view.stride + at % columns * 64, view.stride);
        at = (at + 1) % (columns * rows);
    }
}

void registerKernels(const speedhq::Kernels* kernels) {
    using namespace speedhq;
    if (kernels == nullptr) {
        return;
    }
    const std::string name = std::string("kernel/") + kernels->name;
    const auto add = [&](const char* what, auto body) {
        benchmark::RegisterBenchmark((name + "/" + what).c_str(), body);
    };
    add("convert", [kernels](State& state) {
        auto samples = std::make_unique<MacroblockSamples>();
        std::uint8_t changed = 0;
        perMacroblock(state, [&](const std::uint8_t* pixels, std::ptrdiff_t stride) {
            kernels->convertBgra(pixels, stride, kMatrix, samples.get(), 1, &changed);
            benchmark::DoNotOptimize(samples.get());
        });
    });
    add("convert+transform", [kernels](State& state) {
        auto samples = std::make_unique<MacroblockSamples>();
        std::uint8_t changed = 0;
        auto levels = std::make_unique<MacroblockLevels>();
        const Quantiser quantiser = makeQuantiser(kQuality);
        perMacroblock(state, [&](const std::uint8_t* pixels, std::ptrdiff_t stride) {
            kernels->convertBgra(pixels, stride, kMatrix, samples.get(), 1, &changed);
            kernels->transform(*samples, quantiser, *levels);
            benchmark::DoNotOptimize(levels.get());
        });
    });
    add("convert+transform+write", [kernels](State& state) {
        auto samples = std::make_unique<MacroblockSamples>();
        std::uint8_t changed = 0;
        auto levels = std::make_unique<MacroblockLevels>();
        const Quantiser quantiser = makeQuantiser(kQuality);
        std::vector<std::uint8_t> buffer(kMaxMacroblockBytes + kBitSlack);
        DcPredictors predictors;
        perMacroblock(state, [&](const std::uint8_t* pixels, std::ptrdiff_t stride) {
            kernels->convertBgra(pixels, stride, kMatrix, samples.get(), 1, &changed);
            kernels->transform(*samples, quantiser, *levels);
            BitWriter writer(buffer.data());
            predictors = kernels->write(*levels, codeTables(), predictors, writer);
            benchmark::DoNotOptimize(buffer.data());
        });
    });
}

}  // namespace

int main(int argc, char** argv) {
    using speedhq::KernelLevel;
    constexpr Scene kScenes[] = {Scene::FullMotion, Scene::Caret, Scene::Scrolling, Scene::Nothing};
    for (const KernelLevel level :
         {KernelLevel::Reference, KernelLevel::Sse41, KernelLevel::Avx2, KernelLevel::Avx512}) {
        const speedhq::Kernels* const kernels = speedhq::kernelsOf(level);
        registerKernels(kernels);
        if (kernels != nullptr) {
            benchmark::RegisterBenchmark(
                (std::string("1080p/full/1 thread/") + kernels->name).c_str(), ours, kernels,
                Scene::FullMotion, 1920, 1080, 1, true);
        }
    }
    const speedhq::Kernels* const best = &speedhq::bestKernels();
    benchmark::RegisterBenchmark("1080p/full/copy", copyFrame);
    benchmark::RegisterBenchmark("1080p/full/libav", libav, Scene::FullMotion, 1920, 1080);
    for (const Scene scene : kScenes) {
        const std::string name = std::string("1080p/") + nameOf(scene);
        benchmark::RegisterBenchmark((name + "/ours").c_str(), ours, best, scene, 1920, 1080, 1,
                                     true);
        benchmark::RegisterBenchmark((name + "/ours without a hint").c_str(), ours, best, scene,
                                     1920, 1080, 1, false);
        benchmark::RegisterBenchmark((name + "/preview").c_str(), preview, scene);
        benchmark::RegisterBenchmark((name + "/no receivers").c_str(), noReceivers, scene);
    }
    for (const int threads : {1, 2}) {
        for (const auto& [width, height, size] :
             {std::tuple{1920, 1080, "1080p"}, {3840, 2160, "2160p"}}) {
            benchmark::RegisterBenchmark(
                (std::string(size) + "/full/threads:" + std::to_string(threads)).c_str(), ours,
                best, Scene::FullMotion, width, height, threads, true)
                ->UseRealTime();
        }
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
