// The capturer against real X servers: what it sees, and what it leaves alone.

#include <random>

#include "capturerun.h"
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
    EXPECT_FALSE(run.news(20)) << "drawn outside the rectangle";
    painter.movePointer(200, 200);
    EXPECT_FALSE(run.news(20)) << "the pointer moved";

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
    ASSERT_TRUE(run.news());
    EXPECT_EQ(run.pixels, expected);
    ASSERT_EQ(run.capturer.DirtyRows().spans.size(), 1U);
    EXPECT_EQ(run.capturer.DirtyRows().spans[0].first, 80);
    EXPECT_EQ(run.capturer.DirtyRows().spans[0].count, 12);

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
    CaptureRun whole(display.name(), {0, 0, 800, 600});
    CaptureRun region(display.name(), {150, 100, 401, 333});
    ASSERT_TRUE(whole.capturer.InitCapture(L"screen"));
    ASSERT_TRUE(region.capturer.InitCapture(L"screen"));

    for (int pause = 0; pause < 60; ++pause) {
        for (int i = 0; i < 25; ++i) {
            motion.step();
            whole.read();
            region.read();
        }
        // The window manager may draw long after the windows were moved.
        ASSERT_TRUE(whole.shows(painter, whole.area)) << "after pause " << pause;
        ASSERT_TRUE(region.shows(painter, region.area)) << "after pause " << pause;
    }
    ASSERT_TRUE(manager->running()) << manager->output();
    // All but the first read fetched nothing but damaged rows.
    EXPECT_EQ(whole.partialReads, whole.reads - 1);
    EXPECT_EQ(region.partialReads, region.reads - 1);
    EXPECT_GT(whole.partialReads, 60);
}

}  // namespace
