// The capturer against mutter and PipeWire: what sway doesn't do.

// Before Qt, whose "signals" is a member of a structure of GLib.
#include "capture/pipewire/pipewirecapturescreen.h"
#include "capture/pipewire/servicewatch.h"
#include "mutterportal.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QImage>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "capture.h"
#include "support/framecompare.h"
#include "support/logcapture.h"
#include "support/process.h"

namespace {

using namespace std::chrono_literals;
using tests::Capture;
using tests::eventually;

const QRect kSecond(0, 0, 1600, 1200);

/// A window of one colour, 400x300. It becomes another one when told to.
class Window {
public:
    Window() {
        ::mkfifo(m_orders.c_str(), 0600);
        m_process = std::make_unique<tests::Process>(std::vector<std::string>{
            "foot", "--window-size-pixels=400x300", "-o", "csd.preferred=none", "-o",
            "colors.background=c08040", "sh", "-c",
            "printf '\\033[?25l'; read order <" + m_orders +
                "; printf '\\033]11;#40c080\\007'; "
                "sleep 600"});
    }
    ~Window() { ::unlink(m_orders.c_str()); }
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    void change() const { std::ofstream(m_orders) << "now" << std::endl; }

    /// Whether the image shows all of it in that colour.
    static bool isIn(const QImage& image, QRgb colour) {
        int count = 0;
        for (int i = 0; i < image.width() * image.height(); ++i) {
            count += image.pixel(i % image.width(), i / image.width()) == colour ? 1 : 0;
        }
        return count == 400 * 300;
    }
    static bool isShown(const QImage& image) { return isIn(image, kBefore); }

    static constexpr QRgb kBefore = 0xFFC08040;
    static constexpr QRgb kAfter = 0xFF40C080;

private:
    const std::string m_orders = std::string(std::getenv("SESSION_FOLDER")) + "/orders";
    std::unique_ptr<tests::Process> m_process;
};

class Mutter : public testing::Test {
protected:
    tests::LogCapture m_log;
    tests::MutterPortal m_portal;
};

TEST_F(Mutter, SendsBuffersForTheCursorThatAreNoFrames) {
    const Window window;
    m_portal.grant("Meta-1");  // Where windows appear.
    Capture capture("Meta-1", kSecond);
    ASSERT_TRUE(capture.readUntil(Window::isShown)) << m_log.text() << capture.status().reason;
    // More than there are buffers in the stream: some of them have never held an image.
    const QImage before = capture.image().copy();
    for (int i = 0; i < 20; ++i) {
        m_portal.movePointer(100 + 10 * i, 100);
        capture.read();
        EXPECT_EQ(capture.image(), before) << i;
    }
    window.change();
    // Between moves of the pointer mutter 43 may keep the last frame back until the next move.
    int x = 100;
    EXPECT_TRUE(eventually(
        [&] {
            m_portal.movePointer(++x, 200);
            return capture.read() && Window::isIn(capture.image(), Window::kAfter);
        },
        20s));
}

/// The shape is that which the window sets.
TEST_F(Mutter, SendsThePointerApartFromItsFrames) {
    const Window window;
    m_portal.grant("Meta-1");
    Capture capture("Meta-1", kSecond, true);
    ASSERT_TRUE(capture.readUntil(Window::isShown)) << m_log.text();
    const QImage bare = capture.image().copy();
    int corner = 0;
    while (bare.pixel(corner % 1600, corner / 1600) != Window::kBefore) {
        ++corner;
    }
    for (const int way : {50, 200, 300}) {
        const QPoint place(corner % 1600 + way, corner / 1600 + 150);
        // Mutter 43 may keep the frame of a move back until the next one.
        int step = 0;
        EXPECT_TRUE(eventually([&] {
            m_portal.movePointer(place.x() + ++step % 2, place.y());
            const QRect changed =
                capture.read() ? tests::differingPart(capture.image(), bare) : QRect();
            return changed.contains(place) && changed.width() < 64 && changed.height() < 64;
        })) << way
            << m_log.text();
    }
}

TEST_F(Mutter, CropsTheFramesOfAWindow) {
    const Window window;
    {
        m_portal.grant("Meta-1");
        Capture shown("Meta-1", kSecond);
        ASSERT_TRUE(shown.readUntil(Window::isShown)) << m_log.text();
    }
    m_portal.grant("window");
    Capture capture("", {0, 0, 400, 300});
    EXPECT_TRUE(capture.readUntil(Window::isShown)) << m_log.text();
    EXPECT_TRUE(m_log.says("captured through PipeWire, 400x300")) << m_log.text();
}

TEST_F(Mutter, EndsTheCastThatTheUserStops) {
    m_portal.grant("Meta-0");
    Capture capture("Meta-0");
    ASSERT_TRUE(capture.readsAtAll()) << m_log.text();
    m_portal.stopSharing();
    EXPECT_TRUE(capture.says("stopped from the desktop")) << m_log.text();
    EXPECT_TRUE(capture.status().ended);
    EXPECT_EQ(m_portal.calls("Start"), 1);
    capture.capturer().Resume();
    capture.capturer().Resume();
    EXPECT_TRUE(capture.readsAtAll()) << m_log.text();
    EXPECT_EQ(m_log.count("stopped from the desktop"), 1) << m_log.text();
}

TEST_F(Mutter, TakesAMonitorAwayAndBringsItBack) {
    const auto plugIn = [this] {
        m_portal.grant("virtual");
        auto monitor = std::make_unique<Capture>("", QRect(0, 0, 1920, 1080));
        EXPECT_TRUE(monitor->readsAtAll()) << m_log.text();
        return monitor;
    };
    auto monitor = plugIn();
    m_portal.grant("Meta-2");
    Capture capture("Meta-2");
    ASSERT_TRUE(capture.readsAtAll()) << m_log.text();
    monitor.reset();
    EXPECT_TRUE(eventually([&] { return capture.status().state == CaptureState::Interrupted; }))
        << m_log.text();
    EXPECT_FALSE(capture.status().ended);
    monitor = plugIn();
    EXPECT_TRUE(m_log.says("output \"Meta-2\" goes on")) << m_log.text();
    EXPECT_EQ(m_log.count("was interrupted"), 1) << m_log.text();
    EXPECT_EQ(m_log.count("goes on, "), 1) << m_log.text();
}

TEST_F(Mutter, HasAPortalThatLeavesQuestionsUnanswered) {
    m_portal.grant("Meta-0");
    m_portal.leaveUnanswered("CreateSession");
    const capture::pipewire::PortalLimits limits = {1000ms, 100ms};
    Capture capture(
        "Meta-0", {0, 0, 1280, 720}, false,
        std::make_unique<PipeWireCaptureScreen>(capture::pipewire::TokenStore(), limits));
    EXPECT_TRUE(capture.says("did not answer CreateSession"));
    EXPECT_EQ(capture.status().state, CaptureState::Unable);
    // The user may take any time, and no question stays open when there is a new one.
    m_portal.leaveUnanswered("Start");
    capture.capturer().Resume();
    capture.capturer().Resume();
    EXPECT_TRUE(capture.says("has not answered yet"));
    EXPECT_EQ(capture.status().state, CaptureState::Unanswered);
    m_portal.leaveUnanswered("");
    EXPECT_EQ(m_portal.calls("Close"), 0);
    capture.capturer().Resume();
    EXPECT_TRUE(capture.readsAtAll()) << capture.status().reason;
    EXPECT_EQ(m_portal.calls("Close"), 1);
}

TEST(Services, AreSeenWhenTheyCome) {
    using capture::pipewire::EventLoop;
    EventLoop loop;
    const EventLoop::Entered entered(loop);
    capture::pipewire::ServiceWatch watch(loop);
    const tests::MutterPortal portal;
    const auto comes = [&] { return watch.came(); };
    EXPECT_TRUE(loop.runUntil(comes, 20s)) << "a name on the bus";
    watch.forget();
    const std::string folder = std::getenv("XDG_RUNTIME_DIR");
    std::filesystem::rename(folder + "/pipewire-0", folder + "/other");
    loop.drain();
    EXPECT_FALSE(watch.came());
    std::filesystem::rename(folder + "/other", folder + "/pipewire-0");
    EXPECT_TRUE(loop.runUntil(comes, 20s)) << "a socket";
}

}  // namespace
