// The region overlay. All numbers are physical pixels; the same tests run under Qt's scale factors
// 1, 1.5 and 2 (positions divide by 6, so that Qt's mouse events can express them).

#include <gmock/gmock.h>

#include <QProcess>
#include <QScreen>
#include <QSignalSpy>
#include <QToolTip>

#include "operator.h"
#include "ui/desktop.h"

namespace {

qreal factor() {
    return QGuiApplication::primaryScreen()->devicePixelRatio();
}

QPoint inQt(int x, int y) {
    return (QPointF(x, y) / factor()).toPoint();
}

/// A compositing manager on the display for a while.
class Compositor {
public:
    Compositor() {
        m_process.start("xcompmgr", QStringList());
        EXPECT_TRUE(QTest::qWaitFor([] { return ui::windowsCanBeTranslucent(); }));
    }
    ~Compositor() {
        m_process.kill();
        m_process.waitForFinished();
        EXPECT_TRUE(QTest::qWaitFor([] { return !ui::windowsCanBeTranslucent(); }));
    }

private:
    QProcess m_process;
};

class Overlay : public testing::Test {
protected:
    /// Over a "screen" of 1200 x 600 pixels.
    void open(int originX, int originY) {
        overlay = std::make_unique<CaptureROI>(1800, 600, nullptr);
        overlay->setScreenGeometry(originX, originY, 1200, 600);
        confirmed = std::make_unique<QSignalSpy>(overlay.get(),
                                                 SIGNAL(signalConfirmROI(int, int, int, int)));
        hidden = std::make_unique<QSignalSpy>(overlay.get(), SIGNAL(signalHideROI()));
    }

    void showSelecting() const {
        overlay->show();
        overlay->beginSelection();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(overlay.get()));
    }

    void showFrame(const QRect& region) const {
        overlay->setSelection(region.x(), region.y(), region.width(), region.height());
        overlay->show();
        overlay->setShowROI(true);
        ASSERT_TRUE(QTest::qWaitForWindowExposed(overlay.get()));
    }

    void press(int x, int y) const {
        QTest::mousePress(overlay->windowHandle(), Qt::LeftButton, {}, inQt(x, y));
    }
    void moveTo(int x, int y) const { QTest::mouseMove(overlay->windowHandle(), inQt(x, y)); }
    void release(int x, int y) const {
        QTest::mouseRelease(overlay->windowHandle(), Qt::LeftButton, {}, inQt(x, y));
    }
    void draw(const QPoint& from, const QPoint& to) const {
        press(from.x(), from.y());
        moveTo(to.x(), to.y());
        release(to.x(), to.y());
    }

    [[nodiscard]] QPushButton* button(const QString& caption) const {
        for (QPushButton* found : overlay->findChildren<QPushButton*>()) {
            if (found->text() == caption) {
                return found;
            }
        }
        return nullptr;
    }

    /// What stands on the screen.
    static QColor onScreen(int x, int y) {
        QScreen* screen = QGuiApplication::primaryScreen();
        return screen->grabWindow(0).toImage().pixelColor(x, y);
    }

    static bool near(const QColor& a, const QColor& b) {
        return std::abs(a.red() - b.red()) < 4 && std::abs(a.green() - b.green()) < 4 &&
               std::abs(a.blue() - b.blue()) < 4;
    }

    void SetUp() override { speak("LanguageEN_Tools.xml"); }

    std::unique_ptr<CaptureROI> overlay;
    std::unique_ptr<QSignalSpy> confirmed;
    std::unique_ptr<QSignalSpy> hidden;
};

TEST_F(Overlay, DrawnRegionsAreConfirmedInDesktopPixels) {
    const struct {
        QPoint origin, from, to;
        QList<QVariant> region;
    } kCases[] = {
        {{0, 0}, {300, 180}, {600, 360}, {300, 180, 300, 180}},
        {{600, 60}, {300, 180}, {606, 366}, {900, 240, 306, 186}},
        // Up and to the left: the size is positive, the corner stays where the mouse was pressed.
        {{600, 0}, {600, 360}, {300, 180}, {1200, 360, 300, 180}},
    };
    for (const auto& c : kCases) {
        open(c.origin.x(), c.origin.y());
        showSelecting();
        draw(c.from, c.to);
        ASSERT_TRUE(button("OK")->isVisible());
        EXPECT_EQ(button("OK")->parentWidget()->geometry(),
                  QRect(inQt(c.to.x(), c.to.y()) + QPoint(-108, -40), QSize(100, 40)));
        QTest::mouseClick(button("OK"), Qt::LeftButton);
        ASSERT_EQ(confirmed->count(), 1);
        EXPECT_EQ(confirmed->first(), c.region);
        EXPECT_FALSE(overlay->isVisible());
    }
}

TEST_F(Overlay, ToolTipTellsTheSizeWhileDrawing) {
    open(600, 0);
    showSelecting();
    press(60, 60);
    moveTo(360, 264);
    EXPECT_EQ(QToolTip::text(), "300,204");
    release(360, 264);
}

TEST_F(Overlay, CancelAndEscape) {
    open(0, 0);
    showSelecting();
    draw({60, 60}, {300, 300});
    QTest::mouseClick(button("Cancel"), Qt::LeftButton);
    EXPECT_FALSE(overlay->isVisible());
    EXPECT_EQ(hidden->count(), 0);

    showSelecting();
    QTest::keyClick(overlay->windowHandle(), Qt::Key_Return);
    EXPECT_TRUE(overlay->isVisible());
    QTest::keyClick(overlay->windowHandle(), Qt::Key_Escape);
    EXPECT_FALSE(overlay->isVisible());
    EXPECT_EQ(hidden->count(), 1);
    EXPECT_EQ(confirmed->count(), 0);
}

TEST_F(Overlay, FrameIsDragged) {
    open(0, 0);
    showFrame({300, 120, 300, 180});
    draw({450, 180}, {480, 192});
    ASSERT_EQ(confirmed->count(), 1);
    EXPECT_EQ(confirmed->first(), QList<QVariant>({330, 132, 300, 180}));
    EXPECT_EQ(overlay->cursor().shape(), Qt::SizeAllCursor);

    draw({30, 30}, {90, 90});
    EXPECT_EQ(confirmed->count(), 1) << "outside";
}

TEST_F(Overlay, GrabAreaIsOffsetByTheScreensOrigin) {
    open(120, 0);
    showFrame({300, 120, 300, 180});  // Drawn at 180..480 of the overlay, grabbed at 300..600.
    draw({240, 180}, {270, 180});
    EXPECT_EQ(confirmed->count(), 0);
    draw({540, 180}, {570, 180});
    ASSERT_EQ(confirmed->count(), 1);
    EXPECT_EQ(confirmed->first(), QList<QVariant>({330, 120, 300, 180}));
}

/// Selecting shows the desktop under a white veil and clear inside the selection, with and without
/// a compositor; the frame of show mode leaves the desktop visible.
TEST_F(Overlay, DesktopStaysVisible) {
    const QColor desktop(20, 120, 220);
    for (const bool composed : {false, true}) {
        SCOPED_TRACE(composed ? "compositor" : "no compositor");
        const std::unique_ptr<Compositor> compositor(composed ? new Compositor : nullptr);
        QWidget behind(nullptr, Qt::FramelessWindowHint);
        behind.setPalette(desktop);
        behind.setGeometry(0, 0, 1200, 600);
        behind.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&behind));
        ASSERT_TRUE(QTest::qWaitFor([&] { return near(onScreen(420, 240), desktop); }));

        open(0, 0);
        showSelecting();
        const QColor veiled((20 * 55 + 255 * 200) / 255, (120 * 55 + 255 * 200) / 255, 247);
        EXPECT_TRUE(QTest::qWaitFor([&] { return near(onScreen(900, 540), veiled); }));
        press(300, 180);
        moveTo(600, 360);
        EXPECT_TRUE(QTest::qWaitFor([&] { return near(onScreen(420, 240), desktop); }));
        EXPECT_TRUE(QTest::qWaitFor([&] { return near(onScreen(900, 540), veiled); }));
        release(600, 360);
        EXPECT_TRUE(QTest::qWaitFor([&] { return near(onScreen(900, 540), desktop); }));
        overlay->slotConfirm();

        showFrame({300, 180, 300, 180});
        const QColor inside = composed ? QColor(57, 101, 185) : desktop;
        EXPECT_TRUE(QTest::qWaitFor([&] { return onScreen(300, 240).red() > 130; }));
        EXPECT_TRUE(QTest::qWaitFor([&] { return near(onScreen(420, 240), inside); }))
            << onScreen(420, 240).name().toStdString();
        EXPECT_TRUE(QTest::qWaitFor([&] { return near(onScreen(900, 540), desktop); }));
        EXPECT_EQ(overlay->mask().contains(inQt(420, 240)), composed);
        EXPECT_FALSE(overlay->mask().contains(inQt(900, 540))) << "the desktop can be clicked";
    }
}

class OverlayOfTheWindow : public Overlay {
protected:
    OverlayOfTheWindow() : m_desk({{0, 0, 1200, 600}, {1200, 0, 600, 600}}) {
        m_operator = std::make_unique<Operator>(m_desk, m_folder.filePath("settings.ini"));
    }
    static QString property(WId window, const QString& name) {
        QProcess xprop;
        xprop.start("xprop", {"-id", QString::number(window), name});
        xprop.waitForFinished();
        return QString::fromUtf8(xprop.readAllStandardOutput());
    }
    QTemporaryDir m_folder;
    Desk m_desk;
    std::unique_ptr<Operator> m_operator;
};

TEST_F(OverlayOfTheWindow, DrawnRegionIsSent) {
    Operator& op = *m_operator;
    Operator::choose(op.screen, 1);
    Operator::click(op.start);
    m_desk.heard();
    Operator::click(op.select);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(op.overlay));
    QWindow* window = op.overlay->windowHandle();
    QTest::mousePress(window, Qt::LeftButton, {}, inQt(60, 120));
    QTest::mouseMove(window, inQt(360, 300));
    QTest::mouseRelease(window, Qt::LeftButton, {}, inQt(360, 300));
    QTest::mouseClick(op.overlay->findChildren<QPushButton*>().first(), Qt::LeftButton);
    EXPECT_THAT(m_desk.heard(),
                testing::ElementsAre("dx reset", "dx init 60 120 300 180 30 OUT-1", "dx start"));
    EXPECT_EQ(op.x->value(), 1260);
    EXPECT_EQ(op.h->value(), 180);
}

TEST_F(OverlayOfTheWindow, ShowAndHide) {
    Operator& op = *m_operator;
    Operator::click(op.show);
    EXPECT_EQ(op.show->text(), "Hide region");
    EXPECT_TRUE(op.overlay->isVisible());
    EXPECT_TRUE(g_roiShown);
    Operator::click(op.show);
    EXPECT_EQ(op.show->text(), "Show region");
    EXPECT_FALSE(op.overlay->isVisible());

    Operator::click(op.select);
    QTest::keyClick(op.overlay, Qt::Key_Escape);
    EXPECT_EQ(op.show->text(), "Hide region") << "Escape flips the state";
    EXPECT_TRUE(g_roiShown);
}

TEST_F(OverlayOfTheWindow, KeepsOutOfTheWindowManagersWay) {
    Operator& op = *m_operator;
    Operator::click(op.show);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(op.overlay));
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return property(op.overlay->winId(), "_NET_WM_STATE").contains("SKIP_TASKBAR"); }));
    const auto stacking = [] {
        QProcess xprop;
        xprop.start("xprop", {"-root", "_NET_CLIENT_LIST_STACKING"});
        xprop.waitForFinished();
        return QString::fromUtf8(xprop.readAllStandardOutput()).trimmed();
    };
    EXPECT_TRUE(QTest::qWaitFor([&] {
        return stacking().endsWith(QString("0x%1").arg(op.window->winId(), 0, 16));
    })) << "the window that hides the frame is not under it";
}

TEST(PhysicalPixels, ConvertsFromTheScreensCorner) {
    const struct {
        QPoint origin;
        qreal factor;
        QPoint physical, qt;
        QSize size, covering;
    } kCases[] = {
        {{0, 0}, 1.0, {17, 1079}, {17, 1079}, {1920, 1080}, {1920, 1080}},
        {{1920, 0}, 2.0, {1920, 0}, {1920, 0}, {3840, 2160}, {1920, 1080}},
        {{1920, 100}, 2.0, {2120, 300}, {2020, 200}, {101, 99}, {51, 50}},
        {{-1280, 0}, 1.5, {-1130, 300}, {-1180, 200}, {1280, 1024}, {854, 683}},
    };
    for (const auto& c : kCases) {
        const ui::PhysicalPixels pixels(c.origin, c.factor);
        EXPECT_EQ(pixels.toQt(c.physical), c.qt);
        EXPECT_EQ(pixels.toQt(c.size), c.covering);
        EXPECT_EQ(pixels.distanceToPhysical(QPointF(c.physical) / c.factor), c.physical);
    }
    const ui::PhysicalPixels half(QPoint(), 1.5);
    EXPECT_EQ(half.coveringRect({1, 2, 3, 3}), QRect(0, 1, 3, 3));
}

TEST(PhysicalPixels, KnowsTheScreensOfTheDesktop) {
    EXPECT_EQ(ui::PhysicalPixels::at(QPoint(100, 100)).factor(), factor());
    EXPECT_EQ(ui::PhysicalPixels::at(QPoint(-9000, 9000)).factor(), factor()) << "the nearest";
}

}  // namespace
