// testpicture: fills the screen with a test picture, for the demonstration and the tests.
// usage: testpicture [--moving PICTURES-PER-SECOND]

#include <QApplication>
#include <QPainter>
#include <QScreen>
#include <QTimer>
#include <QWidget>
#include <cstdio>

#include "testpattern.h"

namespace {

class TestPicture : public QWidget {
public:
    explicit TestPicture(int rate) : m_rate(rate) {
        // A desktop window: the window manager keeps it below everything and undecorated.
        setAttribute(Qt::WA_X11NetWmWindowTypeDesktop);
        setAttribute(Qt::WA_OpaquePaintEvent);
        setWindowFlag(Qt::FramelessWindowHint);
        setWindowTitle(QStringLiteral("testpicture"));
        setGeometry(QApplication::primaryScreen()->virtualGeometry());
        if (m_rate > 0) {
            connect(&m_timer, &QTimer::timeout, this, QOverload<>::of(&QWidget::update));
            m_timer.setTimerType(Qt::PreciseTimer);
            m_timer.start(1000 / m_rate);
        }
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        if (m_picture.size() != size()) {
            m_picture = QImage(size(), QImage::Format_RGB32);
        }
        testpattern::paint(m_picture, m_number++, m_rate > 0);
        QPainter(this).drawImage(0, 0, m_picture);
    }

private:
    const int m_rate;
    int m_number = 0;
    QImage m_picture;
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
        std::fputs("usage: testpicture [--moving PICTURES-PER-SECOND]\n", stderr);
        return 2;
    }
    TestPicture picture(rate);
    picture.show();
    return QApplication::exec();
}
