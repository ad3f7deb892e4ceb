// The capturer against real X servers: what it sees, and what it leaves alone.

#include <atomic>
#include <random>
#include <thread>
#include <tuple>

#include "capturerun.h"
#include "support/logcapture.h"
#include "support/virtualdisplay.h"

namespace {

using tests::Area;
using tests::CaptureRun;
using tests::Painter;
using tests::VirtualDisplay;

/// A frame in which no two pixels near each other are alike.
std::uint32_t noise(int x, int y) {
    const auto mixed = (static_cast<std::uint32_t>(x) * 2654435761U) ^
                       (static_cast<std::uint32_t>(y) * 2246822519U);
    return (mixed ^ mixed >> 13) & 0xFFFFFF;
}

TEST(X11Capture, FetchesOnlyWhatWasDrawnInsideTheRectangle) {
    const auto display = VirtualDisplay::xvfb("640x480x24");
    Painter painter(display.name());
    painter.paint({0, 0, 640, 480}, noise);
    CaptureRun run(display.name(), {100, 100, 300, 200});
    ASSERT_TRUE(run.capturer.InitCapture(nullptr));
    run.settle();

    painter.fill(painter.root(), {0, 0, 640, 100}, 0xFF0000);
    painter.fill(painter.root(), {400, 100, 50, 50}, 0xFF0000);
    EXPECT_FALSE(run.newFrame(3)) << "drawn outside the rectangle";
    painter.movePointer(200, 200);
    EXPECT_FALSE(run.newFrame(2)) << "the pointer moved";

    // Marks show which pixels the next read fetches.
    run.pixels[0] ^= 0xFF;
    run.pixels[run.rowBytes() * 150] ^= 0xFF;
    auto expected = run.pixels;
    for (int y = 80; y < 92; ++y) {
        for (int x = 20; x < 30; ++x) {
            const std::uint8_t green[] = {0, 0xFF, 0, 0xFF};
            std::copy_n(green, 4, expected.begin() + (y * 300 + x) * 4);
        }
    }
    painter.fill(painter.root(), {120, 180, 10, 12}, 0x00FF00);
    ASSERT_TRUE(run.newFrame());
    EXPECT_EQ(run.pixels, expected);
    ASSERT_EQ(run.capturer.DirtyRows().spans.size(), 1U);
    const auto& span = run.capturer.DirtyRows().spans[0];
    EXPECT_EQ(std::tie(span.first, span.count, span.left, span.right), std::tuple(80, 12, 20, 30));

    // Another buffer, or another rectangle, has everything to learn.
    std::vector<std::uint8_t> other(run.pixels.size());
    ASSERT_TRUE(run.capturer.ReadScreenData(100, 100, 300, 200, other.data()));
    EXPECT_FALSE(run.capturer.DirtyRows().known);
    EXPECT_EQ(other, painter.screen({100, 100, 300, 200}));
    run.area.x = 40;
    ASSERT_TRUE(run.read());
    EXPECT_EQ(run.pixels, painter.screen({40, 100, 300, 200}));
}

TEST(X11Capture, PacksTheRowsOfACutRectangleAndLeavesTheRestAlone) {
    const auto display = VirtualDisplay::xvfb("640x480x24");
    Painter painter(display.name());
    painter.paint({0, 0, 640, 480}, noise);
    CaptureRun run(display.name(), {-20, -10, 100, 50});
    ASSERT_TRUE(run.capturer.InitCapture(L"screen"));
    std::fill(run.pixels.begin(), run.pixels.end(), std::uint8_t{0x5A});
    ASSERT_TRUE(run.read());
    auto expected = painter.screen({0, 0, 80, 40});
    expected.resize(run.pixels.size(), 0x5A);
    EXPECT_EQ(run.pixels, expected);

    // Rows that are cut short can't be a frame of the capturer's own.
    CaptureRun own(display.name(), {-20, -10, 100, 50}, CaptureRun::Memory::Capturers);
    ASSERT_TRUE(own.capturer.InitCapture(L"screen"));
    own.pixels.assign(own.pixels.size(), 0x5A);
    ASSERT_TRUE(own.read());
    EXPECT_EQ(own.pixels, expected);
    EXPECT_EQ(own.framesInPlace, 0);

    run.area = {640, 0, 100, 50};
    EXPECT_TRUE(run.read()) << "an empty rectangle is a frame, too";
    EXPECT_EQ(run.pixels, expected);
}

/// Windows that are opened, moved, scrolled and closed at random, some under the window manager's
/// hands, some not.
class Motion {
public:
    explicit Motion(Painter& painter) : m_painter(painter) {}

    void step() {
        const auto kind = pick(10);
        if (m_windows.size() < 3 || (kind == 0 && m_windows.size() < 8)) {
            m_windows.push_back(m_painter.open(
                {pick(800), pick(600), 40 + pick(300), 40 + pick(200)}, colour(), pick(2) == 0));
            if (pick(6) == 0) {
                m_painter.setFullScreen(m_windows.back());
            }
            return;
        }
        const auto index = static_cast<std::size_t>(pick(static_cast<int>(m_windows.size())));
        const auto window = m_windows[index];
        if (kind == 1) {
            m_painter.close(window);
            m_windows.erase(m_windows.begin() + static_cast<std::ptrdiff_t>(index));
        } else if (kind < 5) {
            m_painter.move(window, pick(800) - 50, pick(600) - 50);
        } else if (kind < 8) {
            m_painter.scroll(window, {0, 0, 340, 240}, pick(21) - 10);
        } else {
            m_painter.fill(window, {pick(200), pick(150), 1 + pick(90), 1 + pick(90)}, colour());
        }
    }

private:
    int pick(int below) { return std::uniform_int_distribution<int>(0, below - 1)(m_random); }
    std::uint32_t colour() { return static_cast<std::uint32_t>(pick(0x1000000)); }

    Painter& m_painter;
    std::mt19937 m_random{20240229};
    std::vector<xcb_window_t> m_windows;
};

TEST(X11Capture, EqualsTheScreenAfterEveryMotionUnderAWindowManager) {
    const auto display = VirtualDisplay::xvfb("800x600x24");
    const auto manager = display.spawn({"openbox", "--config-file", "/etc/xdg/openbox/rc.xml"});
    Painter painter(display.name());
    Motion motion(painter);
    using Memory = CaptureRun::Memory;
    CaptureRun whole(display.name(), {0, 0, 800, 600}, Memory::Ours);
    CaptureRun region(display.name(), {150, 100, 401, 333}, Memory::Capturers);
    CaptureRun* const runs[] = {&whole, &region};
    for (auto* const run : runs) {
        ASSERT_TRUE(run->capturer.InitCapture(L"screen"));
    }
    for (int pause = 0; pause < 60; ++pause) {
        for (int i = 0; i < 25; ++i) {
            motion.step();
            for (auto* const run : runs) {
                run->capturer.Interrupt();  // Not to wait where nothing was drawn inside.
                run->read();
            }
        }
        // The window manager may draw long after the windows were moved.
        for (auto* const run : runs) {
            ASSERT_TRUE(run->shows(painter, run->area)) << "after pause " << pause;
        }
    }
    ASSERT_TRUE(manager->running()) << manager->output();
    for (const auto* const run : runs) {
        EXPECT_EQ(run->partialReads, run->reads - 1) << "all but the first fetch damaged rows only";
        EXPECT_EQ(run->framesInPlace, run == &whole ? 0 : run->reads);
        EXPECT_GT(run->partialReads, 60);
    }
}

TEST(X11Capture, ReportsEveryChangedRowWhileAnotherClientDraws) {
    const auto display = VirtualDisplay::xvfb("640x480x24");
    Painter painter(display.name());
    CaptureRun run(display.name(), {20, 10, 600, 450}, CaptureRun::Memory::Capturers);
    ASSERT_TRUE(run.capturer.InitCapture(nullptr));
    std::atomic<bool> drawing{true};
    std::thread other([&] {
        std::mt19937 random{7};
        const auto pick = [&random](unsigned below) { return static_cast<int>(random() % below); };
        for (int i = 0; i < 3000; ++i) {
            const int width = pick(4) == 0 ? 640 : 1 + pick(200);
            painter.fill(painter.root(), {pick(600), pick(400), width, 1 + pick(80)},
                         static_cast<std::uint32_t>(random()) & 0xFFFFFF);
        }
        drawing = false;
    });
    while (drawing) {
        run.read();
    }
    other.join();
    EXPECT_TRUE(run.shows(painter, run.area));
    EXPECT_GT(run.partialReads, 0);
}

TEST(X11Capture, FindsDirectRenderingThatCausesNoDamage) {
    const auto display = VirtualDisplay::xvfb("640x480x24");
    Painter painter(display.name());
    using Memory = CaptureRun::Memory;
    // In the second one a row in 64 would mostly be none, and only the first row changes.
    const std::pair<Memory, Area> kReads[] = {{Memory::Ours, {30, 20, 600, 440}},
                                              {Memory::Capturers, {210, 150, 60, 3}}};
    for (const auto& [memory, area] : kReads) {
        painter.paint({0, 0, 640, 480}, noise);
        const tests::LogCapture log;
        std::atomic<bool> reported{true};
        CaptureRun run(display.name(), area, memory,
                       [&](const xcb_generic_event_t&) { return reported.load(); });
        ASSERT_TRUE(run.capturer.InitCapture(nullptr));
        run.settle();
        // Whatever is drawn is reported: one look after another finds nothing.
        for (std::uint32_t i = 0; i < 12; ++i) {
            painter.fill(painter.root(), {100, 100, 300, 90}, 0x203040 * i);
            ASSERT_TRUE(run.shows(painter, run.area));
            EXPECT_FALSE(run.newFrame(1));
        }
        EXPECT_EQ(log.count("[warning]"), 0) << log.text();

        reported = false;
        painter.fill(painter.root(), {200, 60, 90, 91}, 0x00FF00);
        EXPECT_TRUE(run.shows(painter, run.area));
        EXPECT_EQ(log.count("changes without damage"), 1) << log.text();
        painter.fill(painter.root(), {50, 50, 3, 1}, 0xFF00FF);
        EXPECT_TRUE(run.read()) << "every read is a whole one now";
        EXPECT_EQ(run.opaque(), painter.screen(run.area));
        EXPECT_FALSE(run.capturer.DirtyRows().known);
        EXPECT_EQ(log.count("[warning]"), 1) << log.text();
    }
}

TEST(X11Capture, AnInterruptEndsTheWaitBeforeOrAfterIt) {
    const capture::x11::Interrupt interrupt;
    interrupt.raise();
    interrupt.wait(-1, std::chrono::hours(1));
    std::thread other([&] { interrupt.raise(); });
    interrupt.wait(-1, std::chrono::hours(1));
    other.join();
}

}  // namespace
