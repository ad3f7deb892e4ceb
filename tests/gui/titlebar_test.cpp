// Dragging the window by its title bar.

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
        waitUntilShown(&window);
        window.move(kPlace);
        EXPECT_TRUE(soon([this] { return window.pos() == kPlace; }));
    }

    /// `at` counts from the window's first place.
    void mouse(QEvent::Type type, QPoint at) {
        const auto button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
        QMouseEvent event(type, at, at, kPlace + at, button, Qt::LeftButton, {});
        QApplication::sendEvent(&bar, &event);
    }
    /// Returns how far the window is from its first place.
    QPoint drag(QPoint to) {
        mouse(QEvent::MouseMove, to);
        return window.pos() - kPlace;
    }
    void release() { mouse(QEvent::MouseButtonRelease, {}); }

    QWidget window;
    TitleBar bar{&window};
};

TEST_F(Bar, DragsInStepsOfSixteenButNotFromTheEdges) {
    mouse(QEvent::MouseButtonPress, {50, 10});
    EXPECT_EQ(drag({65, 25}), QPoint()) << "15 is not yet a step";
    EXPECT_EQ(drag({66, 10}), QPoint(16, 0));
    EXPECT_EQ(drag({66, -10}), QPoint(16, -20));
    release();
    EXPECT_EQ(drag({300, 10}), QPoint(16, -20));

    const std::pair<QPoint, int> kCases[] = {{{2, 10}, 0},   {{3, 10}, 40},   {{50, 2}, 0},
                                             {{398, 10}, 0}, {{397, 10}, 40}, {{50, 29}, 40}};
    for (const auto& [at, dragged] : kCases) {
        window.move(kPlace);
        mouse(QEvent::MouseButtonPress, at);
        EXPECT_EQ(drag(at + QPoint(0, 40)), QPoint(0, dragged)) << at.x() << "," << at.y();
        release();
    }
}

}  // namespace
