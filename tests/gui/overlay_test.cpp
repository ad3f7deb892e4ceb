// The region overlay. All numbers are physical pixels. The tests run with Qt's scale factors 1, 1.5
// and 2; positions are multiples of 6, so that they are whole numbers in Qt's pixels.

#include <QProcess>
#include <QScreen>
#include <QSignalSpy>
#include <QToolTip>

#include "operator.h"
#include "ui/desktop.h"

namespace tests {
namespace {

qreal factor() {
    return QGuiApplication::primaryScreen()->devicePixelRatio();
}

QPoint inQt(QPoint physical) {
    return (QPointF(physical) / factor()).toPoint();
}

void press(const QWidget& overlay, QPoint at) {
    QTest::mousePress(overlay.windowHandle(), Qt::LeftButton, {}, inQt(at));
}
void moveTo(const QWidget& overlay, QPoint at) {
    QTest::mouseMove(overlay.windowHandle(), inQt(at));
}
void release(const QWidget& overlay, QPoint at) {
    QTest::mouseRelease(overlay.windowHandle(), Qt::LeftButton, {}, inQt(at));
}
void draw(const QWidget& overlay, QPoint from, QPoint to) {
    press(overlay, from);
    moveTo(overlay, to);
    release(overlay, to);
}

/// Runs a compositing manager during its life.
class Compositor {
public:
    Compositor() {
        m_process.start("xcompmgr", QStringList());
        EXPECT_TRUE(eventuallyWithEvents(ui::windowsCanBeTranslucent));
    }
    ~Compositor() {
        m_process.kill();
        m_process.waitForFinished();
        EXPECT_TRUE(eventuallyWithEvents([] { return !ui::windowsCanBeTranslucent(); }));
    }

private:
    QProcess m_process;
};

class Overlay : public testing::Test {
protected:
    void SetUp() override { speakEnglish(); }

    /// Covers a screen of 1200 x 600 pixels.
    void open(QPoint origin) {
        overlay = std::make_unique<CaptureROI>(1800, 600, nullptr);
        overlay->setScreenGeometry(origin.x(), origin.y(), 1200, 600);
        confirmed = std::make_unique<QSignalSpy>(overlay.get(),
                                                 SIGNAL(signalConfirmROI(int, int, int, int)));
    }
    void showSelecting() const {
        overlay->show();
        overlay->beginSelection();
        waitUntilShown(overlay.get());
    }
    void showFrame(const QRect& region) const {
        overlay->setSelection(region.x(), region.y(), region.width(), region.height());
        overlay->setShowROI(true);
        overlay->show();
        waitUntilShown(overlay.get());
    }

    /// A pixel of the screen.
    static QColor at(QPoint place) {
        QScreen* screen = QGuiApplication::primaryScreen();
        return screen->grabWindow(0).toImage().pixelColor(place);
    }
    /// Waits until the screen has about this colour there.
    static bool seen(QPoint place, const QColor& wanted) {
        return eventuallyWithEvents([&] {
            const QColor is = at(place);
            return std::abs(is.red() - wanted.red()) < 4 &&
                   std::abs(is.green() - wanted.green()) < 4 &&
                   std::abs(is.blue() - wanted.blue()) < 4;
        });
    }

    [[nodiscard]] QPushButton* button(const QString& caption) const {
        for (QPushButton* found : overlay->findChildren<QPushButton*>()) {
            if (found->text() == caption) {
                return found;
            }
        }
        return nullptr;
    }

    std::unique_ptr<CaptureROI> overlay;
    std::unique_ptr<QSignalSpy> confirmed;
};

TEST_F(Overlay, DrawnRegionsAreConfirmedInDesktopPixels) {
    const struct {
        QPoint origin, from, to;
        QList<QVariant> region;
    } kCases[] = {
        {{600, 60}, {300, 180}, {606, 366}, {900, 240, 306, 186}},
        // Up and to the left: the size is positive, x and y are those of the press.
        {{600, 0}, {600, 360}, {300, 180}, {1200, 360, 300, 180}},
    };
    for (const auto& c : kCases) {
        open(c.origin);
        showSelecting();
        press(*overlay, c.from);
        moveTo(*overlay, c.to);
        const QPoint size = c.to - c.from;
        EXPECT_EQ(QToolTip::text(), QString("%1,%2").arg(size.x()).arg(size.y()));
        release(*overlay, c.to);
        QPushButton* const ok = button("OK");
        ASSERT_TRUE(ok->isVisible());
        EXPECT_EQ(ok->parentWidget()->geometry(),
                  QRect(inQt(c.to) + QPoint(-108, -40), QSize(100, 40)));
        Operator::click(ok);
        ASSERT_EQ(confirmed->count(), 1);
        EXPECT_EQ(confirmed->first(), c.region);
        EXPECT_FALSE(overlay->isVisible());
    }
}

TEST_F(Overlay, ButtonsStayInside) {
    open({600, 0});
    showSelecting();
    for (const QPoint end : {QPoint(30, 12), QPoint(1194, 594), QPoint(12, 594)}) {
        overlay->beginSelection();
        draw(*overlay, {300, 300}, end);
        for (const char* caption : {"OK", "Cancel"}) {
            const QPushButton* const found = button(caption);
            const QRect place(found->mapTo(overlay.get(), QPoint()), found->size());
            EXPECT_TRUE(overlay->rect().contains(place)) << caption << " at " << end.x();
        }
    }
}

TEST_F(Overlay, CancelledSelectionLeavesTheRegionInForce) {
    open({0, 0});
    overlay->setSelection(300, 120, 300, 180);
    showSelecting();
    draw(*overlay, {60, 60}, {240, 240});
    Operator::click(button("Cancel"));
    overlay->show();
    overlay->setShowROI(true);
    waitUntilShown(overlay.get());
    EXPECT_TRUE(overlay->mask().contains(inQt({300, 180})));
    EXPECT_FALSE(overlay->mask().contains(inQt({60, 120})));
    draw(*overlay, {300, 180}, {312, 192});
    ASSERT_EQ(confirmed->count(), 1);
    EXPECT_EQ(confirmed->first(), QList<QVariant>({312, 132, 300, 180}));
}

TEST_F(Overlay, FrameStopsAtTheEdgeAndStaysUnderThePointer) {
    open({0, 0});
    showFrame({120, 60, 300, 180});
    press(*overlay, {180, 120});
    moveTo(*overlay, {12, 18});  // 168 to the left and 102 up; 120 and 60 are possible.
    moveTo(*overlay, {192, 120});
    release(*overlay, {192, 120});
    ASSERT_EQ(confirmed->count(), 1);
    EXPECT_EQ(confirmed->first(), QList<QVariant>({132, 60, 300, 180}));
    draw(*overlay, {180, 120}, {6, 6});
    EXPECT_EQ(confirmed->last(), QList<QVariant>({0, 0, 300, 180}));
}

TEST_F(Overlay, FrameFollowsAPointerThatLeavesIt) {
    open({0, 0});
    showFrame({120, 60, 120, 60});
    draw(*overlay, {122, 120}, {602, 420});
    ASSERT_EQ(confirmed->count(), 1);
    EXPECT_EQ(confirmed->first(), QList<QVariant>({600, 360, 120, 60}));
}

TEST_F(Overlay, RectangleIsOutlinedOnAWhiteDesktop) {
    QWidget behind(nullptr, Qt::FramelessWindowHint);
    behind.setPalette(QColor(Qt::white));
    behind.setGeometry(0, 0, 1200, 600);
    behind.show();
    waitUntilShown(&behind);
    open({0, 0});
    showSelecting();
    press(*overlay, {300, 180});
    moveTo(*overlay, {600, 360});
    EXPECT_TRUE(seen({450, 180}, Qt::red));
    EXPECT_TRUE(seen({600, 240}, Qt::red));
    EXPECT_TRUE(seen({450, 240}, Qt::white));
}

TEST_F(Overlay, CancelAndEscapeConfirmNothing) {
    open({0, 0});
    QSignalSpy hidden(overlay.get(), SIGNAL(signalHideROI()));
    showSelecting();
    draw(*overlay, {60, 60}, {300, 300});
    Operator::click(button("Cancel"));
    EXPECT_FALSE(overlay->isVisible());
    EXPECT_EQ(hidden.count(), 0);
    showSelecting();
    QTest::keyClick(overlay->windowHandle(), Qt::Key_Escape);
    EXPECT_FALSE(overlay->isVisible());
    EXPECT_EQ(hidden.count(), 1);
    EXPECT_EQ(confirmed->count(), 0);
}

TEST_F(Overlay, GrabAreaIsOffsetByTheOriginOfTheScreen) {
    open({120, 0});
    showFrame({300, 120, 300, 180});  // Drawn at 180..480 of the overlay, grabbed at 300..600.
    draw(*overlay, {240, 180}, {270, 240});
    EXPECT_EQ(confirmed->count(), 0);
    draw(*overlay, {540, 180}, {570, 192});
    ASSERT_EQ(confirmed->count(), 1);
    EXPECT_EQ(confirmed->first(), QList<QVariant>({330, 132, 300, 180}));
    EXPECT_EQ(overlay->cursor().shape(), Qt::SizeAllCursor);
}

/// In selection mode the desktop is whitened outside the selection, with and without a compositor.
/// In show mode the desktop stays visible, and can be clicked, outside the frame.
TEST_F(Overlay, DesktopStaysVisible) {
    const QColor desktop(20, 120, 220);
    const QColor whitened((20 * 55 + 255 * 200) / 255, (120 * 55 + 255 * 200) / 255, 247);
    const QPoint inside(420, 240);
    const QPoint outside(900, 540);
    for (const bool composed : {false, true}) {
        SCOPED_TRACE(composed ? "compositor" : "no compositor");
        const std::unique_ptr<Compositor> compositor(composed ? new Compositor : nullptr);
        QWidget behind(nullptr, Qt::FramelessWindowHint);
        behind.setPalette(desktop);
        behind.setGeometry(0, 0, 1200, 600);
        behind.show();
        waitUntilShown(&behind);
        ASSERT_TRUE(seen(inside, desktop));

        open({0, 0});
        showSelecting();
        EXPECT_TRUE(seen(outside, whitened));
        press(*overlay, {300, 180});
        moveTo(*overlay, {600, 360});
        EXPECT_TRUE(seen(inside, desktop));
        EXPECT_TRUE(seen(outside, whitened));
        release(*overlay, {600, 360});
        EXPECT_TRUE(seen(outside, desktop));
        overlay->slotConfirm();

        showFrame({300, 180, 300, 180});
        EXPECT_TRUE(eventuallyWithEvents([] { return at({300, 240}).red() > 130; }));
        EXPECT_TRUE(seen(inside, composed ? QColor(57, 101, 185) : desktop));
        EXPECT_TRUE(seen(outside, desktop));
        EXPECT_EQ(overlay->mask().contains(inQt(inside)), composed);
        EXPECT_FALSE(overlay->mask().contains(inQt(outside))) << "no click reaches the desktop";
    }
}

QString property(const QStringList& what) {
    QProcess xprop;
    xprop.start("xprop", what);
    xprop.waitForFinished();
    return QString::fromUtf8(xprop.readAllStandardOutput()).trimmed();
}

TEST(OverlayOfTheWindow, StaysBelowTheWindowAndOutOfTheTaskbar) {
    const QTemporaryDir folder;
    FakeCollaborators fakes{{{0, 0, 1200, 600}, {1200, 0, 600, 600}}};
    const Operator op{fakes, folder.filePath("settings.ini")};
    Operator::choose(op.screen, 1);
    EXPECT_EQ(op.overlay->pos(), inQt({1200, 0}));
    op.click("show");
    EXPECT_EQ(op.caption("show"), "Hide region");
    EXPECT_TRUE(g_roiShown);
    waitUntilShown(op.overlay);
    const QString overlay = QString::number(op.overlay->winId());
    EXPECT_TRUE(eventuallyWithEvents([&] {
        return property({"-id", overlay, "_NET_WM_STATE"}).contains("SKIP_TASKBAR");
    }));
    const QString window = QString("0x%1").arg(op.window->winId(), 0, 16);
    EXPECT_TRUE(eventuallyWithEvents([&] {
        return property({"-root", "_NET_CLIENT_LIST_STACKING"}).endsWith(window);
    })) << "the overlay covers the button that hides it";
    op.click("show");
    EXPECT_EQ(op.caption("show"), "Show region");
    EXPECT_FALSE(op.overlay->isVisible());

    op.click("select");
    QTest::keyClick(op.overlay, Qt::Key_Escape);
    EXPECT_EQ(op.caption("show"), "Hide region") << "Escape flips the state";
}

TEST(PhysicalPixels, AreConvertedFromTheScreensCorner) {
    const ui::PhysicalPixels twofold({1920, 100}, 2);
    EXPECT_EQ(twofold.toQt(QPoint(2120, 300)), QPoint(2020, 200));
    EXPECT_EQ(twofold.toQt(QSize(101, 99)), QSize(51, 50));
    const ui::PhysicalPixels left({-1280, 0}, 1.5);
    EXPECT_EQ(left.toQt(QPoint(-1130, 300)), QPoint(-1180, 200));
    EXPECT_EQ(left.distanceToPhysical(QPointF(20, 30)), QPoint(30, 45));
    EXPECT_EQ(left.coveringRect({1, 2, 3, 3}), QRect(0, 1, 3, 3));
    // A compositor's output of 1600x1200 at scale 2 and one of 1920x1080 at scale 1.5.
    const auto scaled = ui::PhysicalPixels::between({1280, 0, 1600, 1200}, {1280, 0, 800, 600});
    EXPECT_EQ(scaled.distanceToPhysical(QPointF(100, 50)), QPoint(200, 100));
    EXPECT_EQ(scaled.toQt(QSize(1600, 1200)), QSize(800, 600));
    const auto half = ui::PhysicalPixels::between({2080, 0, 1920, 1080}, {2500, 40, 1280, 720});
    EXPECT_EQ(half.toQt(QPoint(2080 + 300, 150)), QPoint(2500 + 200, 40 + 100));
    EXPECT_EQ(half.distanceToPhysical(QPointF(1280, 720)), QPoint(1920, 1080));
    // At scale 1.5 Qt's own Wayland platform is told 853 for 853.33.
    const auto told = ui::PhysicalPixels::between({0, 0, 1280, 720}, {0, 0, 853, 480});
    EXPECT_EQ(told.distanceToPhysical(QPointF(853, 480)), QPoint(1280, 720));
    EXPECT_EQ(told.distanceToPhysical(QPointF(100, 50)), QPoint(150, 75));
    EXPECT_EQ(ui::PhysicalPixels::at({-9000, 9000}).factor(), factor()) << "the nearest screen";
}

}  // namespace
}  // namespace tests
