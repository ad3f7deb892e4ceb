// 3840x2160 at 60 fps in full motion, sent to one receiver on this machine: the CPU time of a send
// and whether every frame arrives. Run it in a private network:
//
//     scripts/private-network.sh build/release/bench/bench_uhd

#include <ctime>

#include <chrono>
#include <cstdio>
#include <thread>

#include "ndi/ndilib.h"
#include "scenes.h"
#include "support/testreceiver.h"

namespace {

using std::chrono::steady_clock;

constexpr int kWidth = 3840;
constexpr int kHeight = 2160;
constexpr int kRate = 60;
constexpr int kFrames = 300;
constexpr std::uint16_t kFirstPort = 5961;

/// CPU time of this thread in milliseconds.
double cpuTime() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) * 1e-6;
}

}  // namespace

int main() {
    if (!NDIlib_initialize()) {
        return 1;
    }
    const NDIlib_send_create_t settings{"UHD", nullptr, true, true};
    const NDIlib_send_instance_t instance = NDIlib_send_create(&settings);
    if (instance == nullptr) {
        return 1;
    }
    tests::TestReceiver receiver(kFirstPort);
    receiver.sayHello();
    int received = 0;
    std::thread reader([&] {
        while (receiver.nextFrame(std::chrono::seconds(1))) {
            ++received;
        }
    });

    bench::Desktop desktop(kWidth, kHeight);
    NDIlib_video_frame_v2_t frame{};
    frame.frame_format_type = NDIlib_frame_format_type_progressive;
    frame.timecode = NDIlib_send_timecode_synthesize;
    frame.xres = kWidth;
    frame.yres = kHeight;
    frame.FourCC = NDIlib_FourCC_type_BGRX;
    frame.frame_rate_N = kRate;
    frame.frame_rate_D = 1;
    frame.line_stride_in_bytes = kWidth * 4;
    double used = 0;
    const auto start = steady_clock::now();
    for (int i = 0; i < kFrames; ++i) {
        desktop.advance(bench::Scene::FullMotion);
        frame.p_data = const_cast<std::uint8_t*>(desktop.view().pixels);
        const double before = cpuTime();
        NDIlib_send_send_video_v2(instance, &frame);
        used += cpuTime() - before;
    }
    const std::chrono::duration<double> took = steady_clock::now() - start;
    NDIlib_send_destroy(instance);
    reader.join();
    std::printf(
        "%d frames of %dx%d in %.2f s (%.2f s at %d fps), %.2f ms CPU time per send; "
        "received: %d\n",
        kFrames, kWidth, kHeight, took.count(), double{kFrames} / kRate, kRate, used / kFrames,
        received);
    return received < kFrames ? 1 : 0;
}
