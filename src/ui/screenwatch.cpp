#include "ui/screenwatch.h"

#include <QGuiApplication>
#include <QScreen>
#include <utility>

#include "ui/desktop.h"

namespace ui {
namespace {

/// A mode change consists of several events: a monitor goes off, the desktop grows, it comes back.
constexpr int kSettleMs = 200;

}  // namespace

ScreenWatch::ScreenWatch(std::function<void()> changed) : m_changed(std::move(changed)) {
    m_settled.setSingleShot(true);
    m_settled.setInterval(kSettleMs);
    QObject::connect(&m_settled, &QTimer::timeout, [this] { m_changed(); });
    QObject::connect(qGuiApp, &QGuiApplication::screenAdded, &m_settled, [this](QScreen* screen) {
        watch(*screen);
        noteChange();
    });
    QObject::connect(qGuiApp, &QGuiApplication::screenRemoved, &m_settled,
                     [this] { noteChange(); });
    for (const QScreen* screen : QGuiApplication::screens()) {
        watch(*screen);
    }
    onDisplayChange(&m_settled, [this] { noteChange(); });
}

void ScreenWatch::noteChange() {
    m_settled.start();
}

void ScreenWatch::watch(const QScreen& screen) {
    QObject::connect(&screen, &QScreen::geometryChanged, &m_settled, [this] { noteChange(); });
}

}  // namespace ui
