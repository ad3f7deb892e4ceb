// Plays one of the benchmark's scenes on the screen.
// usage: sceneplayer full|caret|scroll|nothing [FPS]     default 30

#include <QApplication>
#include <QImage>
#include <QPaintEvent>
#include <QPainter>
#include <QScreen>
#include <QTimer>
#include <QWidget>
#include <algorithm>
#include <cstdio>
#include <map>

#include "scenes.h"

namespace {

constexpr int kDefaultRate = 30;

class Player : public QWidget {
public:
    Player(const QSize& size, bench::Scene scene, int rate)
        : m_desktop(size.width(), size.height()), m_scene(scene) {
        setAttribute(Qt::WA_X11NetWmWindowTypeDesktop);
        setAttribute(Qt::WA_OpaquePaintEvent);
        setWindowFlag(Qt::FramelessWindowHint);
        setGeometry(QRect(QPoint(0, 0), size));
        m_timer.setTimerType(Qt::PreciseTimer);
        connect(&m_timer, &QTimer::timeout, this, [this] { step(); });
        m_timer.start(1000 / rate);
    }

protected:
    void paintEvent(QPaintEvent* event) override {
        const speedhq::FrameView view = m_desktop.view();
        const QImage frame(view.pixels, view.width, view.height, static_cast<int>(view.stride),
                           QImage::Format_RGB32);
        QPainter painter(this);
        for (const QRect& part : event->region()) {
            painter.drawImage(part.topLeft(), frame, part);
        }
    }

private:
    void step() {
        m_desktop.advance(m_scene);
        for (const support::RowSpan& rows : m_desktop.dirty().spans) {
            const int right = std::min(rows.right, width());
            update(rows.left, rows.first, right - rows.left, rows.count);
        }
        if (!m_desktop.dirty().known) {
            update();
        }
    }

    bench::Desktop m_desktop;
    const bench::Scene m_scene;
    QTimer m_timer;
};

}  // namespace

int main(int argc, char* argv[]) {
    const std::map<QString, bench::Scene> scenes = {{"full", bench::Scene::FullMotion},
                                                    {"caret", bench::Scene::Caret},
                                                    {"scroll", bench::Scene::Scrolling},
                                                    {"nothing", bench::Scene::Nothing}};
    const QApplication application(argc, argv);
    const auto scene = scenes.find(QApplication::arguments().value(1));
    const int rate = QApplication::arguments().value(2, QString::number(kDefaultRate)).toInt();
    if (scene == scenes.end() || rate < 1 || rate > 1000) {
        std::fputs("usage: sceneplayer full|caret|scroll|nothing [FPS]\n", stderr);
        return 2;
    }
    Player player(QApplication::primaryScreen()->size(), scene->second, rate);
    player.show();
    return QApplication::exec();
}
