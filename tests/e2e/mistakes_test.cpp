// Mistakes and unusual situations, and what receivers and the log show then.

#include <algorithm>

#include "ndi/wire/textmessage.h"
#include "receiving.h"
#include "support/testreceiver.h"

namespace e2e {
namespace {

constexpr std::uint16_t kPort = 5961;  ///< Of the first source on a machine.

class Mistakes : public Receiving {
protected:
    /// A still region of 320x128 pixels at 64,500 on air.
    void sendRegion() {
        m_program.click("start");
        m_program.type("x", "64");
        m_program.type("y", "500");
        m_program.type("w", "320");
        m_program.type("h", "128");
    }
    /// Shows the frame around that region.
    void showFrame() {
        m_program.click("show");
        waitUntilUnlike(m_desktop, m_strip);
    }
    void expectLogged(const char* text) {
        EXPECT_TRUE(tests::eventually([&] { return m_program.log().contains(text); }))
            << text << " is not in\n"
            << m_program.log().toStdString();
    }

    const QPoint m_strip{66, 560};  ///< On the left side of the frame.
    ProgramRun m_program;
};

TEST_F(Mistakes, EmptyRegionIsLoggedAndMended) {
    m_program.click("start");
    m_program.type("y", "720");
    expectLogged("the region is empty: 1280x0 at 0,720");
    m_program.type("h", "9");
    expectLogged("the region is empty: 1280x9 at 0,720");
    m_program.type("y", "0");
    m_program.type("h", "360");
    expectFrame(m_program, {0, 0, 1280, 360});
    EXPECT_FALSE(m_program.log().contains(" 0 bytes")) << m_program.log().toStdString();
}

TEST_F(Mistakes, FrameStopsAtTheEdgeOfTheScreen) {
    sendRegion();
    showFrame();
    drag(m_strip, {0, m_strip.y()});
    m_program.click("show");
    expectFrame(m_program, {0, 500, 320, 128});
}

TEST_F(Mistakes, FrameFollowsAPointerThatLeavesIt) {
    sendRegion();
    showFrame();
    drag(m_strip, m_strip + QPoint(600, -350));
    m_program.click("show");
    expectFrame(m_program, {664, 150, 320, 128});
}

TEST_F(Mistakes, CancelLeavesTheRegionInForce) {
    sendRegion();
    m_program.click("select");
    const QPoint end(900, 680);
    drag({700, 560}, end);
    const QPoint cancel = ProgramRun::onOverlay("cancel", end);
    waitUntilUnlike(m_desktop, cancel);
    clickAt(cancel);
    waitUntilLike(m_desktop, cancel);
    showFrame();
    drag(m_strip, m_strip + QPoint(16, 16));
    m_program.click("show");
    expectFrame(m_program, {80, 516, 320, 128});
}

TEST_F(Mistakes, ButtonsOfASelectionNearTheCornerCanBeClicked) {
    m_program.click("start");
    m_program.click("select");
    waitUntilUnlike(m_desktop, {1200, 650});
    drag({340, 400}, {20, 272});
    // The buttons are at the left edge, not 108 pixels to the left of the selection's end.
    const QPoint ok = ProgramRun::onOverlay("ok", {108, 272});
    waitUntilUnlike(m_desktop, ok);
    clickAt(ok);
    expectFrame(m_program, {340, 400, 320, 128});
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

TEST_F(Mistakes, ResetTakesTheDesktopOffTheAirUntilTheNextStart) {
    m_program.click("start");
    expectFrame(m_program, m_desktop.rect());
    tests::TestReceiver early(kPort);
    early.sayHello();
    ASSERT_TRUE(early.nextFrame());
    m_program.click("reset");
    EXPECT_TRUE(turnsBlack(early));
    tests::TestReceiver late(kPort);
    late.sayHello();
    EXPECT_TRUE(turnsBlack(late));
    m_program.click("start");
    expectFrame(m_program, m_desktop.rect());
}

TEST_F(Mistakes, NameThatIsTooLongIsTold) {
    m_program.type("name", std::string(200, 'L'));
    m_program.click("reset");
    expectLogged("receivers see the source \"LLL");
}

TEST_F(Mistakes, DesktopNeedNotBeginAtTheOrigin) {
    tests::runToEnd({"xrandr", "--setmonitor", "right", "640/160x720/190+640+0", "screen"});
    {
        ProgramRun program;
        program.click("start");
        expectFrame(program, {640, 0, 640, 720});
    }
    tests::runToEnd({"xrandr", "--delmonitor", "right"});
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

TEST_F(Mistakes, TallyLightTellsWhetherTheSourceIsOnAir) {
    const QRgb red = qRgb(255, 40, 40);
    const QRgb green = qRgb(0, 200, 83);
    m_program.click("start");
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

}  // namespace
}  // namespace e2e
