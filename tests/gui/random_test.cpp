// Random clicks, drags and keys.

#include <random>

#include "operator.h"

namespace tests {
namespace {

constexpr unsigned kSeeds = 5;
constexpr int kActsPerSeed = 200;

class RandomOperator {
public:
    RandomOperator(Operator& op, unsigned seed) : m_operator(op), m_random(seed) {}

    void act() {
        QWidget* widget = anyWidget();
        switch (below(5)) {
            case 0:
            case 1:
                QTest::mouseClick(widget, Qt::LeftButton, {}, inside(widget));
                break;
            case 2:
                QTest::mousePress(widget, Qt::LeftButton, {}, inside(widget));
                dragTo(widget, inside(widget));
                QTest::mouseRelease(widget, Qt::LeftButton, {}, inside(widget));
                break;
            case 3:
                m_operator.language->setCurrentIndex(below(5));
                break;
            default:
                pressKeys(widget);
        }
        // The window may have been closed, minimised or moved off the screen.
        m_operator.window->showNormal();
        m_operator.window->move(200, 200);
        QApplication::processEvents();
    }

private:
    int below(int end) { return static_cast<int>(m_random() % static_cast<unsigned>(end)); }

    QWidget* anyWidget() {
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

    void pressKeys(QWidget* widget) {
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

/// The fake senders check the order of the calls themselves.
TEST(RandomInput, LeavesOneSenderAndStoresTheScreenThatIsShown) {
    QTemporaryDir folder;
    const QString settings = folder.filePath("settings.ini");
    FakeCollaborators fakes({{0, 0, 1280, 720}, {1280, 0, 1024, 768}});
    for (unsigned seed = 1; seed <= kSeeds; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Operator op(fakes, settings);
        RandomOperator random(op, seed);
        for (int i = 0; i < kActsPerSeed; ++i) {
            fakes.takeCalls();
            fakes.dxFails = i % 50 > 40;
            random.act();
            ASSERT_EQ(fakes.senders, 1);
            const QSettings stored(settings, QSettings::IniFormat);
            ASSERT_EQ(stored.value("SystemSet/screenIndex").toInt(), op.screen->currentIndex());
        }
    }
    EXPECT_EQ(fakes.senders, 0);
}

}  // namespace
}  // namespace tests
