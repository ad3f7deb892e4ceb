// Operates the window and checks what receivers get.

#include <gtest/gtest.h>

#include <QRegularExpression>
#include <algorithm>
#include <csignal>

#include "ndi/wire/textmessage.h"
#include "receiving.h"
#include "support/testreceiver.h"
#include "testpattern.h"

namespace e2e {
namespace {

using namespace std::chrono_literals;

using Operator = Receiving;

TEST_P(Operator, SendsTheScreenAsItIs) {
    ProgramRun program(GetParam());
    program.click("start");
    expectFrame(program, m_desktop.rect());
    for (int bar = 0; bar < testpattern::kBars; ++bar) {
        const QRect inside = testpattern::barRect(m_screen.size(), bar).adjusted(16, 0, -16, -16);
        EXPECT_LE(tests::largestDifference(m_received, m_screen, inside), 4) << "bar " << bar;
    }
    EXPECT_EQ(program.log().contains("captureFrame begin"), GetParam())
        << "the other capture path was used";
}

INSTANTIATE_TEST_SUITE_P(CapturePaths, Operator, testing::Values(false, true),
                         [](const auto& path) { return path.param ? "FFmpeg" : "Default"; });

using Region = Operator;

TEST_F(Region, IsDrawnOnTheDesktop) {
    const QRect region(64, 500, 320, 128);
    const QPoint end = region.bottomRight() + QPoint(1, 1);
    const QPoint confirm = ProgramRun::onOverlay("ok", end);
    const QPoint elsewhere(1200, 650);
    ProgramRun program;
    program.click("start");
    program.click("select");
    waitUntilUnlike(m_desktop, elsewhere);  // The overlay whitens it.
    drag(region.topLeft(), end);
    waitUntilLike(m_desktop, elsewhere);
    waitUntilUnlike(m_desktop, confirm);
    clickAt(confirm);
    expectFrame(program, region);

    program.click("reset");
    program.click("start");
    expectFrame(program, m_desktop.rect());
}

TEST_F(Region, IsTypedOnTheSecondScreen) {
    // Divides the screen into two monitors for this test.
    tests::runToEnd({"xrandr", "--setmonitor", "left", "640/160x720/190+0+0", "screen"});
    tests::runToEnd({"xrandr", "--setmonitor", "right", "640/160x720/190+640+0", "none"});
    {
        ProgramRun program;
        program.click("screen");
        xdotool({"key", "Down", "Return"});
        program.click("start");
        expectFrame(program, {640, 0, 640, 720});

        program.type("x", "704");
        program.type("y", "500");
        program.type("w", "320");
        program.type("h", "200");
        expectFrame(program, {704, 500, 320, 200});
    }
    tests::runToEnd({"xrandr", "--delmonitor", "right"});
    tests::runToEnd({"xrandr", "--delmonitor", "left"});
}

TEST_F(Region, IsDraggedByItsFrame) {
    ProgramRun program;
    program.click("start");
    program.type("x", "64");
    program.type("y", "500");
    program.type("w", "320");
    program.type("h", "128");
    program.click("show");
    const QPoint strip(66, 560);  // Of the frame around the region.
    const QPoint goal(98, 592);
    waitUntilUnlike(m_desktop, strip);
    xdotool({"mousemove", "66", "560", "mousedown", "1", "mousemove", "98", "592"});
    waitUntilUnlike(m_desktop, goal);
    // A click that comes before the program has looked at the end of the drag.
    program.process().signal(SIGSTOP);
    xdotool({"mouseup", "1"});
    program.click("show");
    program.process().signal(SIGCONT);
    waitUntilLike(m_desktop, goal);
    expectFrame(program, {96, 532, 320, 128});
}

TEST_F(Region, FollowsAScreenThatChangesItsModeOrGoesAndComesBack) {
    tests::runToEnd({"xrandr", "--newmode", "small", "50", "1024", "1030", "1040", "1100", "640",
                     "643", "646", "660"});
    tests::runToEnd({"xrandr", "--addmode", "screen", "small"});
    {
        ProgramRun program;
        program.click("start");
        expectFrame(program, m_desktop.rect());
        tests::runToEnd({"xrandr", "--output", "screen", "--mode", "small"});
        expectFrame(program, {0, 0, 1024, 640});
        tests::runToEnd({"xrandr", "--output", "screen", "--off", "--fb", "1024x640"});
        EXPECT_TRUE(tests::eventually([&] { return program.log().contains("\") is gone"); }));
        tests::runToEnd({"xrandr", "--output", "screen", "--mode", "1280x720", "--fb", "1280x720"});
        expectFrame(program, m_desktop.rect());
    }
    tests::runToEnd({"xrandr", "--delmode", "screen", "small"});
}

using Source = Operator;

TEST_F(Source, IsRenamedAtResetAndNumberedIfTheNameIsTaken) {
    ProgramRun program;
    ProgramRun second;
    program.click("start");
    program.type("name", "Studio B");
    expectListed(program.name(), true);  // Until the reset.
    program.click("reset");
    expectListed("Studio B", true);
    expectListed(program.name(), false);
    program.click("start");
    expectFrame(program, m_desktop.rect(), "Studio B");

    second.type("name", "Studio B");
    second.click("reset");
    expectListed("Studio B1", true);
}

/// Whether black frames of the screen's size arrive.
bool turnsBlack(tests::TestReceiver& receiver) {
    return tests::eventually([&] {
        const auto frame = receiver.nextFrame();
        const auto planes = frame ? tests::decode(*frame) : std::nullopt;
        return planes && planes->width == 1280 && planes->height == 720 &&
               *std::max_element(planes->y.begin(), planes->y.end()) <= 16;
    });
}

TEST_F(Source, IsBlackFromAResetUntilTheNextStart) {
    ProgramRun program;
    program.click("start");
    expectFrame(program, m_desktop.rect());
    tests::TestReceiver early(kPort);
    early.sayHello();
    ASSERT_TRUE(early.nextFrame());
    program.click("reset");
    EXPECT_TRUE(turnsBlack(early));
    tests::TestReceiver late(kPort);
    late.sayHello();
    EXPECT_TRUE(turnsBlack(late));
    program.click("start");
    expectFrame(program, m_desktop.rect());
}

/// Whether the screen has a spot of that colour, as large as the tally light.
bool shows(QRgb colour) {
    const QImage screen = grabScreen();
    int pixels = 0;
    for (int y = 0; y < screen.height(); ++y) {
        const auto* const row = reinterpret_cast<const QRgb*>(screen.constScanLine(y));
        pixels += static_cast<int>(std::count(row, row + screen.width(), colour));
    }
    return pixels >= 40;
}

TEST_F(Source, HasATallyLight) {
    const QRgb red = qRgb(255, 40, 40);
    const QRgb green = qRgb(0, 200, 83);
    ProgramRun program;
    program.click("start");
    {
        tests::TestReceiver receiver(kPort);
        receiver.sayHello();
        EXPECT_FALSE(shows(red) || shows(green));
        receiver.sendText(composeText(ndi::wire::TallyText{false, true}));
        EXPECT_TRUE(tests::eventually([&] { return shows(green); }));
        receiver.sendText(composeText(ndi::wire::TallyText{true, true}));
        EXPECT_TRUE(tests::eventually([&] { return shows(red) && !shows(green); }));
    }
    EXPECT_TRUE(tests::eventually([&] { return !shows(red) && !shows(green); }))
        << "the receiver is gone";
}

TEST_F(Source, EndsWithTheWindowAndTheLogWithTheBanner) {
    ProgramRun program;
    program.click("start");
    expectFrame(program, m_desktop.rect());
    program.click("close");
    EXPECT_EQ(program.process().waitFor(20s), 0);

    const QStringList lines = program.log().split('\n');
    const int banner =
        lines.indexOf(QRegularExpression("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} "
                                         "\\[\\d+\\] \\[INFO \\] \\[TarsinNDI\\] "
                                         "#{52} $"));
    ASSERT_GE(banner, 0) << program.log().toStdString();
    EXPECT_EQ(lines.value(banner + 1), " //main:stopCallback()#19.");
    EXPECT_TRUE(
        lines.value(banner + 2).endsWith("#                    STOP                         # "));
    EXPECT_EQ(lines.value(banner + 6), "") << "the banner is the last thing in the log";
    expectListed(program.name(), false);
}

}  // namespace
}  // namespace e2e
