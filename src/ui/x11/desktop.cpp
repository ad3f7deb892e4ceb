#include "ui/desktop.h"

#include <xcb/xcb.h>

#include <QGuiApplication>
#include <cstdlib>
#include <memory>
#include <string>

namespace ui {

namespace {

struct Free {
    void operator()(void* reply) const { std::free(reply); }
};
template <typename Reply>
using ReplyHolder = std::unique_ptr<Reply, Free>;

/// A connection of our own, for a moment: Qt's is out of reach without its private headers.
class Connection {
public:
    Connection() : m_connection(xcb_connect(nullptr, &m_screen)) {}
    ~Connection() { xcb_disconnect(m_connection); }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    [[nodiscard]] bool usable() const { return xcb_connection_has_error(m_connection) == 0; }
    [[nodiscard]] int screen() const { return m_screen; }

    [[nodiscard]] xcb_atom_t atom(const std::string& name) const {
        const auto cookie =
            xcb_intern_atom(m_connection, 0, static_cast<std::uint16_t>(name.size()), name.c_str());
        const ReplyHolder<xcb_intern_atom_reply_t> reply(
            xcb_intern_atom_reply(m_connection, cookie, nullptr));
        return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
    }

    [[nodiscard]] bool selectionOwned(xcb_atom_t selection) const {
        const ReplyHolder<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
            m_connection, xcb_get_selection_owner(m_connection, selection), nullptr));
        return reply && reply->owner != XCB_NONE;
    }

    /// Done when it returns: the server has the atoms before it hears the next from Qt.
    void appendAtoms(xcb_window_t window, xcb_atom_t property, const xcb_atom_t* atoms,
                     std::uint32_t count) const {
        const auto cookie = xcb_change_property_checked(m_connection, XCB_PROP_MODE_APPEND, window,
                                                        property, XCB_ATOM_ATOM, 32, count, atoms);
        // A window that is gone needs no hint.
        const ReplyHolder<xcb_generic_error_t> ignored(xcb_request_check(m_connection, cookie));
    }

private:
    int m_screen = 0;
    xcb_connection_t* m_connection;
};

}  // namespace

bool windowsCanBeTranslucent() {
    if (QGuiApplication::platformName() != "xcb") {
        return true;
    }
    const Connection connection;
    return connection.usable() && connection.selectionOwned(connection.atom(
                                      "_NET_WM_CM_S" + std::to_string(connection.screen())));
}

void keepOffTaskbar(const QWidget& window) {
    if (QGuiApplication::platformName() != "xcb") {
        return;
    }
    const Connection connection;
    if (!connection.usable()) {
        return;
    }
    const xcb_atom_t hints[] = {connection.atom("_NET_WM_STATE_SKIP_TASKBAR"),
                                connection.atom("_NET_WM_STATE_SKIP_PAGER")};
    connection.appendAtoms(static_cast<xcb_window_t>(window.internalWinId()),
                           connection.atom("_NET_WM_STATE"), hints, 2);
}

}  // namespace ui
