// Latency from a change on the screen to the last byte of its frame at a receiver on this machine,
// with the real capturer, sender, encoder and network output. Run it in a private network:
//
//     scripts/private-network.sh build/release/bench/bench_latency

#include <algorithm>
#include <cstdio>
#include <random>
#include <vector>

#include "ndi/ndilib.h"
#include "sender/ndidxsender.h"
#include "support/painter.h"
#include "support/testreceiver.h"
#include "support/virtualdisplay.h"

namespace {

using std::chrono::steady_clock;

constexpr int kSamples = 200;
constexpr int kRate = 30;
constexpr std::uint16_t kFirstPort = 5961;
constexpr tests::Area kTestArea{640, 480, 64, 64};

/// Whether the test area is white in a received frame.
bool showsWhite(const tests::ReceivedFrame& received) {
    const auto frame = tests::decode(received);
    const int middle =
        (kTestArea.y + kTestArea.height / 2) * frame->width + kTestArea.x + kTestArea.width / 2;
    return frame->y[static_cast<std::size_t>(middle)] > 128;
}

double millisecondsSince(steady_clock::time_point start, steady_clock::time_point end) {
    return std::chrono::duration<double, std::milli>(end - start).count();
}

/// The time from just before the test area is painted to the last byte of the frame that shows it,
/// in milliseconds. Negative when that frame does not arrive.
double measureOne(tests::Painter& painter, xcb_window_t window, tests::TestReceiver& receiver,
                  bool white) {
    const auto drawn = steady_clock::now();
    painter.fill(window, {0, 0, kTestArea.width, kTestArea.height}, white ? 0xFFFFFF : 0);
    while (const auto frame = receiver.nextFrame(std::chrono::seconds(2))) {
        if (showsWhite(*frame) == white) {
            return millisecondsSince(drawn, frame->arrival);
        }
    }
    return -1;
}

}  // namespace

int main() {
    const auto display = tests::VirtualDisplay::xvfb("1920x1080x24");
    const tests::DisplayVariable variable(display.name());
    tests::Painter painter(display.name());
    const xcb_window_t window = painter.open(kTestArea, 0);

    if (!NDIlib_initialize()) {
        return 1;
    }
    const NDIlib_send_create_t settings{"Latency", nullptr, true, true};
    const NDIlib_send_instance_t instance = NDIlib_send_create(&settings);
    std::vector<double> times;
    {
        NdiDxSender sender("Latency", instance);
        if (instance == nullptr || !sender.initParmeter(0, 0, 1920, 1080, kRate, "screen")) {
            return 1;
        }
        sender.start();
        tests::TestReceiver receiver(kFirstPort);
        receiver.sayHello();

        std::mt19937 random(1);
        std::uniform_int_distribution<int> pause(50, 250);
        for (int i = 0; i < kSamples; ++i) {
            // Reads frames during the pause, so that measureOne() does not see an older one.
            (void)receiver.frames(std::chrono::milliseconds(pause(random)));
            times.push_back(measureOne(painter, window, receiver, i % 2 == 0));
        }
    }
    NDIlib_send_destroy(instance);

    std::sort(times.begin(), times.end());
    std::printf(
        "%d changes at %d fps: minimum %.1f ms, median %.1f ms, "
        "99th percentile %.1f ms, maximum %.1f ms\n",
        kSamples, kRate, times.front(), times[kSamples / 2], times[kSamples * 99 / 100],
        times.back());
    return times.front() < 0 ? 1 : 0;
}
