// RandR's events, on a connection of its own: Qt does not tell of monitors that are declared parts
// of the screen.

#include <xcb/randr.h>

#include <QGuiApplication>
#include <QSocketNotifier>
#include <memory>
#include <utility>

#include "support/x11/connection.h"
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
        auto* const c = m_connection->get();
        if (m_connection->extension(xcb_randr_id) != nullptr) {
            xcb_randr_select_input(c, m_connection->root(),
                                   XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE |
                                       XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                                       XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE);
        }
        // A monitor that is declared or removed is reported as a change of the root window only.
        const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_change_window_attributes(c, m_connection->root(), XCB_CW_EVENT_MASK, &events);
        xcb_flush(c);
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
