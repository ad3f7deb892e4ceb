// The title bar: dragging, window buttons, double clicks.

#include <QSignalSpy>

#include "operator.h"

namespace {

constexpr QPoint kPlace(200, 100);

class Bar : public testing::Test {
protected:
    Bar() {
        speakEnglish();
        window.setWindowFlags(Qt::FramelessWindowHint);
        bar.setFixedWidth(400);
        window.setGeometry(QRect(kPlace, QSize(400, 200)));
        window.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&window));
        window.move(kPlace);
        EXPECT_TRUE(QTest::qWaitFor([this] { return window.pos() == kPlace; }));
    }

    /// `at` counts from the window's first place.
    void mouse(QEvent::Type type, QPoint at, Qt::MouseButton button = Qt::LeftButton) {
        const bool moves = type == QEvent::MouseMove;
        QMouseEvent event(type, at, at, kPlace + at, moves ? Qt::NoButton : button, button, {});
        QApplication::sendEvent(&bar, &event);
    }
    void press(QPoint at, Qt::MouseButton button = Qt::LeftButton) {
        mouse(QEvent::MouseButtonPress, at, button);
    }
    /// Returns how far the window is from its first place.
    QPoint drag(QPoint to) {
        mouse(QEvent::MouseMove, to);
        return window.pos() - kPlace;
    }
    void release() { mouse(QEvent::MouseButtonRelease, {}); }

    [[nodiscard]] std::string buttons() const {
        std::string shown;
        for (const char* name : {"Min", "Restore", "Max", "Close"}) {
            const auto* button = bar.findChild<QPushButton*>(QString("Button") + name);
            shown += button->isHidden() ? "" : std::string(name) + " ";
        }
        return shown;
    }

    QWidget window;
    TitleBar bar{&window};
};

TEST_F(Bar, DragsInStepsOfSixteenButNotFromTheEdges) {
    press({50, 10});
    EXPECT_EQ(drag({65, 25}), QPoint()) << "15 is not yet a step";
    EXPECT_EQ(drag({66, 10}), QPoint(16, 0));
    EXPECT_EQ(drag({66, -10}), QPoint(16, -20));
    release();
    EXPECT_EQ(drag({300, 10}), QPoint(16, -20));

    const struct {
        QPoint at;
        Qt::MouseButton button;
        int dragged;
    } kCases[] = {{{2, 10}, Qt::LeftButton, 0},   {{3, 10}, Qt::LeftButton, 40},
                  {{50, 2}, Qt::LeftButton, 0},   {{50, 3}, Qt::LeftButton, 40},
                  {{398, 10}, Qt::LeftButton, 0}, {{397, 10}, Qt::LeftButton, 40},
                  {{50, 29}, Qt::LeftButton, 40}, {{50, 10}, Qt::RightButton, 0}};
    for (const auto& c : kCases) {
        window.move(kPlace);
        press(c.at, c.button);
        EXPECT_EQ(drag(c.at + QPoint(0, 40)), QPoint(0, c.dragged)) << c.at.x() << "," << c.at.y();
        release();
    }
}

TEST_F(Bar, ButtonsAndDoubleClicksAnnounce) {
    EXPECT_EQ(buttons(), "Min Close ");
    QSignalSpy maximize(&bar, &TitleBar::signalButtonMaxClicked);
    QSignalSpy restore(&bar, &TitleBar::signalButtonRestoreClicked);
    bar.setButtonType(1);
    EXPECT_EQ(buttons(), "Min Max Close ");
    Operator::click(bar.findChild<QPushButton*>("ButtonMax"));
    EXPECT_EQ(buttons(), "Min Restore Close ");
    mouse(QEvent::MouseButtonDblClick, {50, 10}, Qt::RightButton);
    EXPECT_EQ(bar.buttonType(), 2);
    mouse(QEvent::MouseButtonDblClick, {50, 10});
    EXPECT_EQ(bar.buttonType(), 1);
    press({50, 10});
    EXPECT_EQ(drag({90, 10}), QPoint()) << "no drag before the double click is over";
    release();
    bar.setDoubleClickEnabled(false);
    mouse(QEvent::MouseButtonDblClick, {50, 10});
    EXPECT_EQ(bar.buttonType(), 1);
    EXPECT_EQ(maximize.count(), 1);
    EXPECT_EQ(restore.count(), 1);
}

TEST_F(Bar, DragOutOfMaximizedKeepsThePointersPlace) {
    bar.setButtonType(2);
    QObject::connect(&bar, &TitleBar::signalShowNormal, [this] { window.resize(100, 200); });
    QSignalSpy moved(&bar, &TitleBar::signalMove);
    press({200, 10});
    drag({200, 50});
    EXPECT_EQ(bar.buttonType(), 1);
    // The pointer was at 200 of 400, so it is at 50 of 100: 400 - 0.25 * 200.
    ASSERT_EQ(moved.count(), 1);
    EXPECT_EQ(moved.first(), QList<QVariant>({350, 140}));
}

}  // namespace
