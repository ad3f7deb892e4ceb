// A monkey at the desk: random clicks, drags and keys. What it does follows from
// TARSIN_MONKEY_SEED; it goes on for TARSIN_MONKEY_SECONDS.

#include <random>

#include "operator.h"

namespace {

class Monkey {
public:
    Monkey(Operator& op, unsigned seed) : m_operator(op), m_random(seed) {}

    void act() {
        QWidget* widget = somewhere();
        const int kind = below(6);
        if (kind < 2) {
            QTest::mouseClick(widget, Qt::LeftButton, {}, inside(widget));
        } else if (kind == 2) {
            drag(widget);
        } else if (kind == 3) {
            m_operator.language->setCurrentIndex(below(5));
        } else {
            press(widget);
        }
        // What the monkey closed or put away is opened again.
        if (m_operator.window->isHidden() || m_operator.window->isMinimized()) {
            m_operator.window->showNormal();
        }
        m_operator.window->move(200, 200);
        QApplication::processEvents();
    }

private:
    int below(int end) { return static_cast<int>(m_random() % static_cast<unsigned>(end)); }

    QWidget* somewhere() {
        QWidget* window = m_operator.window.get();
        if (m_operator.overlay->isVisible() && below(2) == 0) {
            window = m_operator.overlay;
        }
        if (QWidget* popup = QApplication::activePopupWidget()) {
            window = popup;
        }
        QList<QWidget*> all = window->findChildren<QWidget*>();
        all.append(window);
        return all.at(below(all.size()));
    }

    QPoint inside(const QWidget* widget) {
        return {below(widget->width() + 1), below(widget->height() + 1)};
    }

    void drag(QWidget* widget) {
        QTest::mousePress(widget, Qt::LeftButton, {}, inside(widget));
        for (int step = 0; step < 3; ++step) {
            const QPoint to = inside(widget);
            QMouseEvent move(QEvent::MouseMove, to, widget->mapToGlobal(to), Qt::NoButton,
                             Qt::LeftButton, {});
            QApplication::sendEvent(widget, &move);
        }
        QTest::mouseRelease(widget, Qt::LeftButton, {}, inside(widget));
    }

    void press(QWidget* widget) {
        constexpr Qt::Key kKeys[] = {
            Qt::Key_0,      Qt::Key_1,     Qt::Key_9,         Qt::Key_Minus, Qt::Key_Return,
            Qt::Key_Tab,    Qt::Key_Space, Qt::Key_Backspace, Qt::Key_Up,    Qt::Key_Down,
            Qt::Key_PageUp, Qt::Key_End,   Qt::Key_Escape,    Qt::Key_A};
        for (int i = below(4); i >= 0; --i) {
            QTest::keyClick(widget, kKeys[below(static_cast<int>(std::size(kKeys)))],
                            below(8) == 0 ? Qt::ControlModifier : Qt::NoModifier);
        }
    }

    Operator& m_operator;
    std::mt19937 m_random;
};

int setting(const char* name, int otherwise) {
    return qEnvironmentVariableIsSet(name) ? qEnvironmentVariableIntValue(name) : otherwise;
}

TEST(MonkeyTest, BreaksNothing) {
    const int seed = setting("TARSIN_MONKEY_SEED", 1);
    const int end = setting("TARSIN_MONKEY_SECONDS", 60) * 1000;
    SCOPED_TRACE("TARSIN_MONKEY_SEED=" + std::to_string(seed));
    QTemporaryDir folder;
    Desk desk({{0, 0, 1280, 720}, {1280, 0, 1024, 768}});
    QElapsedTimer timer;
    timer.start();
    for (int round = 0; timer.elapsed() < end; ++round) {
        Operator op(desk, folder.filePath("settings.ini"));
        Monkey monkey(op, static_cast<unsigned>(seed + round));
        for (int i = 0; i < 300 && timer.elapsed() < end; ++i) {
            desk.heard();
            desk.dxFails = i % 50 > 40;
            monkey.act();
            ASSERT_EQ(desk.senders, 1);
            const QSettings stored(folder.filePath("settings.ini"), QSettings::IniFormat);
            ASSERT_EQ(stored.value("SystemSet/screenIndex").toInt(), op.screen->currentIndex());
        }
    }
    EXPECT_EQ(desk.senders, 0);
}

}  // namespace
