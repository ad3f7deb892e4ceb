#include "capture/x11/screensession.h"

#include <utility>

namespace capture::x11 {

using support::x11::Connection;
using support::x11::Owned;

std::unique_ptr<ScreenSession> ScreenSession::open(const std::string& display, EventFilter filter,
                                                   std::string& error) {
    auto connection = Connection::open(display, error);
    if (!connection) {
        return nullptr;
    }
    auto format = PixelFormat::of(*xcb_get_setup(connection->get()), connection->screen());
    if (!format) {
        error = "its pixels have a palette or 24 packed bits";
        return nullptr;
    }
    std::unique_ptr<ScreenSession> session(
        new ScreenSession(std::move(connection), std::move(*format), std::move(filter)));
    session->watchMonitors();
    session->m_damage = RootDamage::watch(*session->m_connection);
    if (!session->alive()) {
        error = "the server closed the connection";
        return nullptr;
    }
    return session;
}

ScreenSession::ScreenSession(std::unique_ptr<Connection> connection, PixelFormat format,
                             EventFilter filter)
    : m_connection(std::move(connection)),
      m_filter(std::move(filter)),
      m_reader(*m_connection, std::move(format)) {}

void ScreenSession::watchMonitors() {
    m_randrEvent = support::x11::selectMonitorEvents(*m_connection);
}

void ScreenSession::poll() {
    auto* const c = m_connection->get();
    // The first call reads the socket, the others only the events it has queued.
    for (Owned<xcb_generic_event_t> event(xcb_poll_for_event(c)); event;
         event.reset(xcb_poll_for_queued_event(c))) {
        if (!m_filter || m_filter(*event)) {
            handleEvent(*event);
        }
    }
}

void ScreenSession::waitForEvent(const Interrupt& interrupt, std::chrono::milliseconds limit) {
    xcb_flush(m_connection->get());
    // XCB may have read events together with a reply; the socket would not show them.
    poll();
    if (!hasNews() && alive()) {
        interrupt.wait(xcb_get_file_descriptor(m_connection->get()), limit);
    }
}

void ScreenSession::handleEvent(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7F;
    if (type == XCB_CONFIGURE_NOTIFY ||
        (m_randrEvent && (type == *m_randrEvent + XCB_RANDR_SCREEN_CHANGE_NOTIFY ||
                          type == *m_randrEvent + XCB_RANDR_NOTIFY))) {
        m_monitorsChanged = true;
        return;
    }
    if (m_damage) {
        m_damage->handleEvent(event);
    }
    if (m_pointer) {
        m_pointer->handleEvent(event);
    }
}

bool ScreenSession::hasNews() const {
    return m_monitorsChanged || (m_damage && m_damage->pending()) ||
           (m_pointer && m_pointer->pending());
}

void ScreenSession::watchPointer() {
    m_pointer = PointerWatch::watch(*m_connection);
}

bool ScreenSession::takeMonitorsChanged() {
    return std::exchange(m_monitorsChanged, false);
}

std::vector<support::x11::Monitor> ScreenSession::monitors() const {
    return support::x11::listMonitors(*m_connection);
}

}  // namespace capture::x11
