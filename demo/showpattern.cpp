// showpattern: fills the screen with the test pattern, for demonstrations and tests.
// usage: showpattern [--moving FPS]

#include <QApplication>
#include <QPainter>
#include <QScreen>
#include <QTimer>
#include <QWidget>
#include <cstdio>

#include "testpattern.h"

namespace {

class PatternWindow : public QWidget {
public:
    explicit PatternWindow(int rate) : m_rate(rate) {
        // The window manager keeps a desktop window below all others and undecorated.
        setAttribute(Qt::WA_X11NetWmWindowTypeDesktop);
        setAttribute(Qt::WA_OpaquePaintEvent);
        setWindowFlag(Qt::FramelessWindowHint);
        setWindowTitle(QStringLiteral("showpattern"));
        setGeometry(QApplication::primaryScreen()->virtualGeometry());
        if (m_rate > 0) {
            connect(&m_timer, &QTimer::timeout, this, QOverload<>::of(&QWidget::update));
            m_timer.setTimerType(Qt::PreciseTimer);
            m_timer.start(1000 / m_rate);
        }
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        if (m_image.size() != size()) {
            m_image = QImage(size(), QImage::Format_RGB32);
        }
        testpattern::paint(m_image, m_number++, m_rate > 0);
        QPainter(this).drawImage(0, 0, m_image);
    }

private:
    const int m_rate;
    int m_number = 0;
    QImage m_image;
    QTimer m_timer;
};

}  // namespace

int main(int argc, char* argv[]) {
    const QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    int rate = 0;
    if (arguments.size() == 3 && arguments.at(1) == QStringLiteral("--moving")) {
        rate = arguments.at(2).toInt();
    }
    if ((arguments.size() != 1 && arguments.size() != 3) || (arguments.size() == 3 && rate < 1)) {
        std::fputs("usage: showpattern [--moving FPS]\n", stderr);
        return 2;
    }
    PatternWindow window(rate);
    window.show();
    return QApplication::exec();
}
