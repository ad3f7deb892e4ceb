// The events of the X server or of the Wayland compositor, on a connection of their own.

#include <QSocketNotifier>
#include <QTimer>
#include <memory>
#include <utility>

#include "session/screenwatch.h"
#include "support/wayland/module.h"
#include "support/wayland/session.h"
#include "support/x11/monitors.h"

namespace session {
namespace {

using support::MonitorEvents;

/// Nothing tells when a server that has gone is back.
constexpr int kRetryMs = 1000;

std::unique_ptr<MonitorEvents> ofCompositor() {
    support::wayland::ModuleError ignored;
    const auto watch = reinterpret_cast<support::wayland::WatchOutputs>(
        support::wayland::moduleFunction(support::wayland::kWatchOutputs, ignored));
    return std::unique_ptr<MonitorEvents>(watch != nullptr ? watch() : nullptr);
}

/// Null while there is nobody to hear. The screens are listed from the same place.
std::unique_ptr<MonitorEvents> connectEvents() {
    if (support::wayland::isWaylandSession()) {
        if (auto events = ofCompositor(); events && events->alive()) {
            return events;
        }
    }
    return support::x11::watchMonitors();
}

class DisplayEvents : public QObject {
public:
    DisplayEvents(std::function<void()> changed, QObject* owner)
        : QObject(owner), m_changed(std::move(changed)) {
        m_retry.setSingleShot(true);
        m_retry.setInterval(kRetryMs);
        QObject::connect(&m_retry, &QTimer::timeout, this, [this] {
            listen();
            if (m_events) {
                m_changed();
            }
        });
        listen();
    }

private:
    void listen() {
        m_events = connectEvents();
        if (!m_events) {
            m_retry.start();
            return;
        }
        m_readable = std::make_unique<QSocketNotifier>(m_events->file(), QSocketNotifier::Read);
        QObject::connect(m_readable.get(), &QSocketNotifier::activated, this, [this] { read(); });
    }

    void read() {
        if (m_events->read()) {
            m_changed();
        }
        if (!m_events->alive()) {
            // The notifier is deleted after its signal. What is captured now is lost with the
            // server, and the capture itself tries to get it back.
            m_readable->setEnabled(false);
            m_readable.release()->deleteLater();
            m_events.reset();
            m_retry.start();
        }
    }

    std::function<void()> m_changed;
    std::unique_ptr<MonitorEvents> m_events;  ///< Outlives its notifier.
    std::unique_ptr<QSocketNotifier> m_readable;
    QTimer m_retry;
};

}  // namespace

void onDisplayChange(QObject* owner, std::function<void()> changed) {
    new DisplayEvents(std::move(changed), owner);
}

}  // namespace session
