// The title bar: dragging, window buttons, double clicks.

#include <gmock/gmock.h>

#include <QSignalSpy>

#include "operator.h"

namespace {

class Bar : public testing::Test {
protected:
    Bar() {
        speak("LanguageEN_Tools.xml");
        window.setWindowFlags(Qt::FramelessWindowHint);
        window.setGeometry(200, 100, 400, 200);
        bar.setFixedWidth(400);
        window.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&window));
        window.move(200, 100);
        EXPECT_TRUE(QTest::qWaitFor([this] { return window.pos() == QPoint(200, 100); }));
    }

    void mouse(QEvent::Type type, QPoint local, QPoint global,
               Qt::MouseButton button = Qt::LeftButton) {
        const bool moves = type == QEvent::MouseMove;
        QMouseEvent event(type, local, local, global, moves ? Qt::NoButton : button, button, {});
        QApplication::sendEvent(&bar, &event);
    }
    void press(QPoint at, Qt::MouseButton button = Qt::LeftButton) {
        mouse(QEvent::MouseButtonPress, at, QPoint(200, 100) + at, button);
    }
    void drag(QPoint to) { mouse(QEvent::MouseMove, to, QPoint(200, 100) + to); }
    void release() { mouse(QEvent::MouseButtonRelease, {}, {}); }

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

TEST_F(Bar, DragsInStepsOfSixteen) {
    press({50, 10});
    drag({60, 10});
    EXPECT_EQ(window.pos(), QPoint(200, 100));
    drag({65, 25});
    EXPECT_EQ(window.pos(), QPoint(200, 100)) << "15 is not yet a step";
    drag({66, 10});
    EXPECT_EQ(window.pos(), QPoint(216, 100));
    drag({66, -10});
    EXPECT_EQ(window.pos(), QPoint(216, 80));
    release();
    drag({300, 10});
    EXPECT_EQ(window.pos(), QPoint(216, 80));
}

TEST_F(Bar, EdgesAndTheRightButtonDoNotDrag) {
    const struct {
        QPoint at;
        Qt::MouseButton button;
        bool drags;
    } kCases[] = {
        {{2, 10}, Qt::LeftButton, false},   {{3, 10}, Qt::LeftButton, true},
        {{50, 2}, Qt::LeftButton, false},   {{50, 3}, Qt::LeftButton, true},
        {{398, 10}, Qt::LeftButton, false}, {{397, 10}, Qt::LeftButton, true},
        {{50, 29}, Qt::LeftButton, true},   {{50, 10}, Qt::RightButton, false},
    };
    for (const auto& c : kCases) {
        window.move(200, 100);
        press(c.at, c.button);
        drag(c.at + QPoint(0, 40));
        EXPECT_EQ(window.pos().y() == 140, c.drags) << c.at.x() << "," << c.at.y();
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
    EXPECT_EQ(bar.buttonType(), 2);
    EXPECT_EQ(buttons(), "Min Restore Close ");
    mouse(QEvent::MouseButtonDblClick, {50, 10}, {250, 110}, Qt::RightButton);
    EXPECT_EQ(bar.buttonType(), 2);
    mouse(QEvent::MouseButtonDblClick, {50, 10}, {250, 110});
    EXPECT_EQ(bar.buttonType(), 1);
    press({50, 10});
    drag({90, 10});
    EXPECT_EQ(window.pos(), QPoint(200, 100)) << "no drag before the double click is over";
    release();
    bar.setDoubleClickEnabled(false);
    mouse(QEvent::MouseButtonDblClick, {50, 10}, {250, 110});
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
    release();
}

}  // namespace
