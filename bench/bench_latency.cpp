// Latency from a change on the screen to the last byte of its frame at a receiver on this machine,
// with the real capturer, sender, encoder and network output: for a small change, and for one of
// every pixel. Run it in a private network:
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
constexpr tests::Area kScreen{0, 0, 1920, 1080};
constexpr tests::Area kTestArea{640, 480, 64, 64};
constexpr int kScrollStep = 3;

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

/// Lines of text and an area like a photograph, roughly.
std::uint32_t background(int x, int y) {
    if (x < kScreen.width / 2) {
        return (x / 3 * 7 + y / 2 * 5) % 11 < 4 && y / 9 % 2 == 0 ? 0x202020 : 0xF8F8F8;
    }
    const auto light = static_cast<std::uint32_t>((x * 3 + y * 2 + x * y / 97 % 23) / 4 % 200 + 30);
    return light << 16 | light << 8 | light;
}

class Measurement {
public:
    enum class Change { Small, WholeScreen };

    Measurement(const std::string& display, std::uint16_t port)
        : m_painter(display), m_receiver(port), m_window(m_painter.open(kTestArea, 0)) {
        m_painter.paint(kScreen, background);
        m_painter.fill(m_window, {0, 0, kTestArea.width, kTestArea.height}, 0);
        m_receiver.sayHello();
    }

    /// False: a change was not received.
    [[nodiscard]] bool run(Change change) {
        std::mt19937 random(1);
        std::uniform_int_distribution<int> pause(50, 250);
        std::vector<double> times;
        for (int i = 0; i < kSamples; ++i) {
            // Reads frames during the pause, so that measureOne() does not see an older one.
            (void)m_receiver.frames(std::chrono::milliseconds(pause(random)));
            times.push_back(measureOne(change, i % 2 == 0));
        }
        std::sort(times.begin(), times.end());
        std::printf(
            "%d changes of %s at %d fps: minimum %.1f ms, median %.1f ms, "
            "99th percentile %.1f ms, maximum %.1f ms\n",
            kSamples, change == Change::Small ? "64x64 pixels" : "every pixel", kRate,
            times.front(), times[kSamples / 2], times[kSamples * 99 / 100], times.back());
        return times.front() >= 0;
    }

private:
    /// The time from just before the change to the last byte of the frame that shows it, in
    /// milliseconds. Negative when that frame does not arrive.
    double measureOne(Change change, bool white) {
        const auto drawn = steady_clock::now();
        if (change == Change::WholeScreen) {
            m_painter.scroll(m_painter.root(), kScreen, white ? kScrollStep : -kScrollStep);
        }
        m_painter.fill(m_window, {0, 0, kTestArea.width, kTestArea.height}, white ? 0xFFFFFF : 0);
        while (const auto frame = m_receiver.nextFrame(std::chrono::seconds(2))) {
            if (showsWhite(*frame) == white) {
                return millisecondsSince(drawn, frame->arrival);
            }
        }
        return -1;
    }

    tests::Painter m_painter;
    tests::TestReceiver m_receiver;
    const xcb_window_t m_window;
};

}  // namespace

int main() {
    const auto display = tests::VirtualDisplay::xvfb("1920x1080x24");
    const tests::DisplayVariable variable(display.name());
    if (!NDIlib_initialize()) {
        return 1;
    }
    const NDIlib_send_create_t settings{"Latency", nullptr, true, true};
    const NDIlib_send_instance_t instance = NDIlib_send_create(&settings);
    bool complete = false;
    {
        NdiDxSender sender("Latency", instance);
        if (instance == nullptr ||
            !sender.initParmeter(0, 0, kScreen.width, kScreen.height, kRate, "screen")) {
            return 1;
        }
        sender.start();
        Measurement measurement(display.name(), kFirstPort);
        complete = measurement.run(Measurement::Change::Small) &&
                   measurement.run(Measurement::Change::WholeScreen);
    }
    NDIlib_send_destroy(instance);
    return complete ? 0 : 1;
}
