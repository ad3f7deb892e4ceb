// The capturer against servers that lack something, that are rearranged, or that are not there.

#include "capturerun.h"
#include "support/logcapture.h"
#include "support/virtualdisplay.h"

namespace {

using tests::CaptureRun;
using tests::Painter;
using tests::VirtualDisplay;

TEST(X11Servers, AreReadWhateverTheyLack) {
    using Pixel = std::vector<std::uint8_t>;  // Blue, green, red, alpha.
    const Pixel bgr{0x30, 0x20, 0x10, 255};
    const Pixel black{0, 0, 0, 255};
    const struct {
        std::string depth, lacking;
        std::uint32_t drawn;  ///< As the screen's depth has it.
        Pixel expected;
    } kServers[] = {
        {"16", "", 0xFC08, {66, 130, 255, 255}},
        {"30", "", 0x3FF << 20 | 512 << 10 | 1, {0, 128, 255, 255}},
        {"24", "MIT-SHM", 0x102030, bgr},
        {"24", "DAMAGE", 0x102030, bgr},
        {"24", "RANDR", 0x102030, bgr},
    };
    for (const auto& server : kServers) {
        SCOPED_TRACE("depth " + server.depth + " without " + server.lacking);
        std::vector<std::string> options;
        if (!server.lacking.empty()) {
            options = {"-extension", server.lacking};
        }
        const auto display = VirtualDisplay::xvfb("333x222x" + server.depth, options);
        Painter painter(display.name());
        CaptureRun run(display.name(), {11, 7, 301, 201});
        ASSERT_TRUE(run.capturer.InitCapture(L"screen"));
        ASSERT_TRUE(run.read());
        if (server.lacking == "DAMAGE") {
            EXPECT_TRUE(run.read());
            EXPECT_FALSE(run.capturer.DirtyRows().known);
        } else {
            run.settle();
        }
        painter.fill(painter.root(), {0, 100, 333, 50}, server.drawn);
        painter.fill(painter.root(), {100, 120, 1, 1}, 0);
        ASSERT_TRUE(run.newFrame());
        EXPECT_EQ(run.at(0, 93), server.expected);
        EXPECT_EQ(run.at(300, 142), server.expected);
        EXPECT_EQ(run.at(88, 113), server.expected);
        EXPECT_EQ(run.at(89, 113), black);
        EXPECT_EQ(run.at(0, 92), black);
        EXPECT_EQ(run.at(300, 143), black);
    }
}

TEST(X11Servers, MayRearrangeTheirOutputs) {
    const auto display = VirtualDisplay::xorg();
    const auto second = [&display](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"xrandr", "--output", "DUMMY1"});
        display.run(arguments);
    };
    display.run({"xrandr", "--addmode", "DUMMY1", "800x600"});
    display.run({"xrandr", "--addmode", "DUMMY1", "640x480"});
    second({"--mode", "800x600", "--pos", "1024x0"});
    Painter painter(display.name());
    tests::LogCapture log;
    CaptureRun run(display.name(), {0, 0, 400, 300});
    ASSERT_TRUE(run.capturer.InitCapture(L"DUMMY1"));
    const auto shows = [&](int x, int y) { return run.shows(painter, {x, y, 400, 300}); };
    const auto paintAll = [&painter](std::uint32_t seed, int width, int height) {
        painter.paint({0, 0, width, height}, [seed](int x, int y) {
            return (static_cast<std::uint32_t>(x * 7 + y * 1031) + seed) & 0xFFFFFF;
        });
    };
    paintAll(1, 1824, 768);
    EXPECT_TRUE(shows(1024, 0));

    second({"--pos", "1024x100"});
    EXPECT_TRUE(shows(1024, 100)) << "moved";
    EXPECT_EQ(log.count("output \"DUMMY1\" is now 800x600 at 1024,100"), 1) << log.text();

    second({"--off"});
    EXPECT_TRUE(tests::eventually(
        [&] {
            run.read();
            return log.count("output \"DUMMY1\" was switched off") == 1;
        },
        std::chrono::seconds(10)))
        << log.text();
    EXPECT_FALSE(run.newFrame(2)) << "an output that is off has no frame";

    second({"--mode", "640x480", "--pos", "0x768"});
    ASSERT_TRUE(run.newFrame());
    paintAll(2, 1024, 1248);
    EXPECT_TRUE(shows(0, 768)) << "on again, elsewhere, in another mode";
}

TEST(X11Servers, FollowAMonitorThatTheUserDeclares) {
    const auto display = VirtualDisplay::xvfb("640x480x24");
    display.run({"xrandr", "--setmonitor", "part", "320/80x240/60+0+0", "none"});
    Painter painter(display.name());
    painter.paint({0, 0, 640, 480}, [](int x, int y) { return std::uint32_t(x * 640 + y); });
    CaptureRun run(display.name(), {20, 10, 300, 230});
    ASSERT_TRUE(run.capturer.InitCapture(L"part"));
    EXPECT_TRUE(run.shows(painter, {20, 10, 300, 230}));
    display.run({"xrandr", "--delmonitor", "part"});
    display.run({"xrandr", "--setmonitor", "part", "320/80x240/60+100+50", "none"});
    EXPECT_TRUE(run.shows(painter, {120, 60, 300, 230}));
}

TEST(X11Servers, BadInputIsRefusedWithOneLineAndTheNextTryMaySucceed) {
    const auto display = VirtualDisplay::xvfb("320x240x24");
    const auto palette = VirtualDisplay::xvfb("320x240x8");
    const tests::DisplayVariable none("");
    const struct {
        std::string display;
        std::wstring output;
        std::string logged;
    } kCases[] = {
        {"", L"screen", "X display \"\" failed: the display name is missing"},
        {"nonsense", L"screen", "X display \"nonsense\""},
        {display.name() + ".7", L"screen", "no such screen"},
        {palette.name(), L"screen", "palette"},
        {display.name(), L"HDMI-1", "outputs: screen"},
        {display.name(), std::wstring(5000, L'x'), "outputs: screen"},
    };
    for (const auto& c : kCases) {
        tests::LogCapture log;
        CaptureRun run(c.display, {0, 0, 10, 10});
        EXPECT_FALSE(run.capturer.InitCapture(c.output.c_str()));
        EXPECT_EQ(log.count(c.logged), 1) << c.logged << "\n" << log.text();
        EXPECT_EQ(log.count("[warning]"), 1) << log.text();
        EXPECT_FALSE(run.read()) << "not initialised";
        EXPECT_EQ(run.capturer.InitCapture(nullptr), c.display == display.name());
        EXPECT_EQ(run.read(), c.display == display.name());
        run.capturer.ReleaseAll();
        EXPECT_FALSE(run.read());
    }
}

}  // namespace
