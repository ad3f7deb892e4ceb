// A monkey at the desk: a minute of random clicks, drags and keys.

#include <QDeadlineTimer>
#include <random>

#include "operator.h"

namespace {

class Monkey {
public:
    Monkey(Operator& op, unsigned seed) : m_operator(op), m_random(seed) {}

    void act() {
        QWidget* widget = somewhere();
        switch (below(5)) {
            case 0:
            case 1:
                QTest::mouseClick(widget, Qt::LeftButton, {}, inside(widget));
                break;
            case 2:
                drag(widget);
                break;
            case 3:
                m_operator.language->setCurrentIndex(below(5));
                break;
            default:
                press(widget);
        }
        // What the monkey closed or put away is opened again.
        m_operator.window->showNormal();
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
        const QPoint to = inside(widget);
        QMouseEvent move(QEvent::MouseMove, to, widget->mapToGlobal(to), Qt::NoButton,
                         Qt::LeftButton, {});
        QApplication::sendEvent(widget, &move);
        QTest::mouseRelease(widget, Qt::LeftButton, {}, inside(widget));
    }

    void press(QWidget* widget) {
        constexpr Qt::Key kKeys[] = {Qt::Key_0,         Qt::Key_9,   Qt::Key_Minus,
                                     Qt::Key_Return,    Qt::Key_Tab, Qt::Key_Space,
                                     Qt::Key_Backspace, Qt::Key_Up,  Qt::Key_Down,
                                     Qt::Key_Escape,    Qt::Key_A};
        for (int i = below(4); i >= 0; --i) {
            QTest::keyClick(widget, kKeys[below(static_cast<int>(std::size(kKeys)))],
                            below(8) == 0 ? Qt::ControlModifier : Qt::NoModifier);
        }
    }

    Operator& m_operator;
    std::mt19937 m_random;
};

TEST(MonkeyTest, BreaksNothing) {
    QTemporaryDir folder;
    Desk desk({{0, 0, 1280, 720}, {1280, 0, 1024, 768}});
    const QDeadlineTimer end(60000);
    for (unsigned seed = 1; !end.hasExpired(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Operator op(desk, folder.filePath("settings.ini"));
        Monkey monkey(op, seed);
        for (int i = 0; i < 300 && !end.hasExpired(); ++i) {
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
