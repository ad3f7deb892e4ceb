#include "session/screenwatch.h"

#include <utility>

namespace session {
namespace {

/// A mode change consists of several events: a monitor goes off, the desktop grows, it comes back.
constexpr int kSettleMs = 200;

}  // namespace

ScreenWatch::ScreenWatch(std::function<void()> changed) {
    m_settled.setSingleShot(true);
    m_settled.setInterval(kSettleMs);
    QObject::connect(&m_settled, &QTimer::timeout, std::move(changed));
    onDisplayChange(&m_settled, [this] { m_settled.start(); });
}

}  // namespace session
