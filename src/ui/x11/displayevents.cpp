// RandR's events, on a connection of its own: Qt does not tell of monitors that are declared parts
// of the screen.

#include <QGuiApplication>
#include <QSocketNotifier>
#include <memory>
#include <utility>

#include "support/x11/monitors.h"
#include "ui/desktop.h"

namespace ui {
namespace {

using support::x11::Connection;
using support::x11::Owned;

class DisplayEvents : public QObject {
public:
    DisplayEvents(std::unique_ptr<Connection> connection, std::function<void()> changed,
                  QObject* owner)
        : QObject(owner),
          m_connection(std::move(connection)),
          m_changed(std::move(changed)),
          m_readable(xcb_get_file_descriptor(m_connection->get()), QSocketNotifier::Read) {
        support::x11::selectMonitorEvents(*m_connection);
        connect(&m_readable, &QSocketNotifier::activated, this, [this] { read(); });
    }

private:
    void read() {
        bool any = false;
        while (const Owned<xcb_generic_event_t> event{xcb_poll_for_event(m_connection->get())}) {
            any = true;
        }
        m_readable.setEnabled(m_connection->alive());
        if (any) {
            m_changed();
        }
    }

    std::unique_ptr<Connection> m_connection;
    std::function<void()> m_changed;
    QSocketNotifier m_readable;
};

}  // namespace

void onDisplayChange(QObject* owner, std::function<void()> changed) {
    std::string ignored;
    auto connection =
        QGuiApplication::platformName() == "xcb" ? Connection::open({}, ignored) : nullptr;
    if (connection) {
        new DisplayEvents(std::move(connection), std::move(changed), owner);
    }
}

}  // namespace ui
