#include "ui/desktop.h"

#include <QGuiApplication>
#include <string>

#include "support/x11/connection.h"

namespace ui {

namespace {

using support::x11::Connection;
using support::x11::Owned;

/// A short-lived connection of our own: Qt's is only accessible through private headers. Null
/// without an X server.
std::unique_ptr<Connection> connect() {
    std::string ignored;
    return QGuiApplication::platformName() == "xcb" ? Connection::open("", ignored) : nullptr;
}

int defaultScreen() {
    char* host = nullptr;
    int display = 0;
    int screen = 0;
    const bool parsed = xcb_parse_display(nullptr, &host, &display, &screen) != 0;
    const Owned<char> freed(host);
    return parsed ? screen : 0;
}

xcb_atom_t atom(const Connection& connection, const std::string& name) {
    const auto cookie =
        xcb_intern_atom(connection.get(), 0, static_cast<std::uint16_t>(name.size()), name.c_str());
    const Owned<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(connection.get(), cookie, nullptr));
    return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

}  // namespace

bool windowsCanBeTranslucent() {
    if (QGuiApplication::platformName() != "xcb") {
        return true;
    }
    const auto connection = connect();
    if (!connection) {
        return false;
    }
    const auto manager = atom(*connection, "_NET_WM_CM_S" + std::to_string(defaultScreen()));
    const Owned<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
        connection->get(), xcb_get_selection_owner(connection->get(), manager), nullptr));
    return reply && reply->owner != XCB_NONE;
}

void keepOffTaskbar(const QWidget& window) {
    const auto connection = connect();
    if (!connection) {
        return;
    }
    const xcb_atom_t hints[] = {atom(*connection, "_NET_WM_STATE_SKIP_TASKBAR"),
                                atom(*connection, "_NET_WM_STATE_SKIP_PAGER")};
    const auto cookie = xcb_change_property_checked(
        connection->get(), XCB_PROP_MODE_APPEND, static_cast<xcb_window_t>(window.internalWinId()),
        atom(*connection, "_NET_WM_STATE"), XCB_ATOM_ATOM, 32, 2, hints);
    // Waits for the reply, so that the server has the hints before Qt's next request. An error
    // means that the window is gone; then it needs no hint.
    const Owned<xcb_generic_error_t> ignored(xcb_request_check(connection->get(), cookie));
}

}  // namespace ui
