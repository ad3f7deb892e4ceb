// The window and its overlay on two screens with different scale factors, on an X server of their
// own: DUMMY0 with factor 1, to its right DUMMY1 with factor 1.5. Both have 1024x768 pixels.

#include <gtest/gtest.h>

#include <fmt/format.h>
#include <QScreen>
#include <QSignalSpy>

#include "operator.h"
#include "support/virtualdisplay.h"
#include "support/x11/connection.h"
#include "ui/application.h"

namespace tests {
namespace {

using support::x11::Connection;
using support::x11::Owned;

/// Place and size of a window in physical pixels, as the X server knows them.
QRect onServer(const QWidget& window) {
    std::string error;
    const auto connection = Connection::open({}, error);
    auto* const c = connection->get();
    const auto id = static_cast<xcb_window_t>(window.winId());
    const Owned<xcb_get_geometry_reply_t> size(
        xcb_get_geometry_reply(c, xcb_get_geometry(c, id), nullptr));
    const Owned<xcb_translate_coordinates_reply_t> place(xcb_translate_coordinates_reply(
        c, xcb_translate_coordinates(c, id, connection->root(), 0, 0), nullptr));
    return {place->dst_x, place->dst_y, size->width, size->height};
}

/// As a window manager does for its user.
void moveOnServer(const QWidget& window, QPoint to) {
    runToEnd({"xdotool", "windowmove", std::to_string(window.winId()), std::to_string(to.x()),
              std::to_string(to.y())});
}

std::string textOf(const QRect& rect) {
    return fmt::format("{}x{}+{}+{}", rect.width(), rect.height(), rect.x(), rect.y());
}

class Scaling : public testing::Test {
protected:
    void expectOnServer(const QWidget& window, const std::string& wanted) {
        EXPECT_TRUE(eventuallyWithEvents([&] { return textOf(onServer(window)) == wanted; }))
            << textOf(onServer(window));
    }

    const QTemporaryDir m_folder;
    FakeCollaborators m_fakes = FakeCollaborators::onRealScreens();
    Operator op{m_fakes, m_folder.filePath("settings.ini")};
};

TEST_F(Scaling, WindowKeepsItsSizeInDeviceIndependentPixels) {
    ASSERT_EQ(QGuiApplication::screens().size(), 2);
    for (int i = 0; i < 2; ++i) {
        moveOnServer(*op.window, {100, 50});
        expectOnServer(*op.window, "638x260+100+50");
        EXPECT_EQ(op.window->size(), QSize(638, 260));
        moveOnServer(*op.window, {1030, 40});
        expectOnServer(*op.window, "957x390+1030+40");
        EXPECT_EQ(op.window->size(), QSize(638, 260));
    }
}

TEST_F(Scaling, RegionIsExactToThePhysicalPixelOnEachScreen) {
    const struct {
        int screen;
        const char* overlay;  // In whole Qt pixels, so it may be larger than the screen.
        QList<QVariant> region;
    } kCases[] = {
        {1, "1025x768+1024+0", {1024 + 90, 60, 300, 210}},
        {0, "1024x768+0+0", {90, 60, 300, 210}},
    };
    for (const auto& c : kCases) {
        Operator::choose(op.screen, c.screen);
        QSignalSpy confirmed(op.overlay, SIGNAL(signalConfirmROI(int, int, int, int)));
        op.click("select");
        waitUntilShown(op.overlay);
        expectOnServer(*op.overlay, c.overlay);
        const auto inQt = [&c](QPoint physical) { return physical / (c.screen == 0 ? 1 : 1.5); };
        QWindow* const handle = op.overlay->windowHandle();
        QTest::mousePress(handle, Qt::LeftButton, {}, inQt({90, 60}));
        QTest::mouseMove(handle, inQt({390, 270}));
        QTest::mouseRelease(handle, Qt::LeftButton, {}, inQt({390, 270}));
        op.click("ok");
        ASSERT_EQ(confirmed.count(), 1);
        EXPECT_EQ(confirmed.first(), c.region);
    }
}

TEST_F(Scaling, TheOverlayFollowsAChangeOfItsScreensFactor) {
    Operator::choose(op.screen, 1);
    op.click("select");
    waitUntilShown(op.overlay);
    expectOnServer(*op.overlay, "1025x768+1024+0");
    QScreen* const screen = op.overlay->windowHandle()->screen();
    screen->setProperty("_q_scaleFactor", 2.0);  // As QHighDpiScaling::setScreenFactor() does.
    emit screen->logicalDotsPerInchChanged(screen->logicalDotsPerInch());
    EXPECT_TRUE(eventuallyWithEvents([&] { return op.overlay->size() == QSize(512, 384); }));
    screen->setProperty("_q_scaleFactor", 1.5);
}

}  // namespace
}  // namespace tests

int main(int argc, char* argv[]) {
    testing::InitGoogleTest(&argc, argv);
    const auto display = tests::VirtualDisplay::xorg();
    display.run({"xrandr", "--addmode", "DUMMY1", "1024x768"});
    display.run({"xrandr", "--output", "DUMMY0", "--mode", "1024x768", "--primary", "--output",
                 "DUMMY1", "--mode", "1024x768", "--pos", "1024x0"});
    display.run({"xrandr"});  // Only now the server counts DUMMY1 as connected.
    const tests::DisplayVariable variable(display.name());
    qputenv("QT_SCREEN_SCALE_FACTORS", "DUMMY0=1;DUMMY1=1.5");
    ui::prepareApplication();
    const QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
