#include "ui/desktop.h"

#include <QGuiApplication>
#include <memory>
#include <string>

#include "support/wayland/session.h"
#include "support/x11/connection.h"

namespace ui {
namespace {

using support::x11::Connection;
using support::x11::Owned;

bool onX11() {
    return QGuiApplication::platformName() == "xcb";
}

/// A short-lived connection of our own: Qt's is out of reach without its private headers. Null when
/// the server can't be reached.
std::unique_ptr<Connection> connect() {
    std::string ignored;
    return Connection::open({}, ignored);
}

bool selectionOwned(const Connection& connection, xcb_atom_t selection) {
    auto* const c = connection.get();
    const Owned<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, selection), nullptr));
    return reply && reply->owner != XCB_NONE;
}

}  // namespace

bool windowsCanBeTranslucent() {
    if (!onX11()) {
        return true;
    }
    const auto connection = connect();
    return connection &&
           selectionOwned(
               *connection,
               connection->atom("_NET_WM_CM_S" + std::to_string(connection->screenNumber())));
}

bool compositorPlacesWindows() {
    return support::wayland::isWaylandSession();
}

void chooseWindowSystem() {
    if (support::wayland::isWaylandSession() && !qEnvironmentVariableIsEmpty("DISPLAY") &&
        !qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "xcb");
    }
}

void keepOffTaskbar(const QWidget& window) {
    const auto connection = onX11() ? connect() : nullptr;
    if (!connection) {
        return;
    }
    const xcb_atom_t hints[] = {connection->atom("_NET_WM_STATE_SKIP_TASKBAR"),
                                connection->atom("_NET_WM_STATE_SKIP_PAGER")};
    auto* const c = connection->get();
    const auto appended = xcb_change_property_checked(
        c, XCB_PROP_MODE_APPEND, static_cast<xcb_window_t>(window.internalWinId()),
        connection->atom("_NET_WM_STATE"), XCB_ATOM_ATOM, 32, 2, hints);
    // Checked, so that the server has the atoms before Qt's next request. The error of a window
    // that is gone does not matter.
    const Owned<xcb_generic_error_t> ignored(xcb_request_check(c, appended));
}

}  // namespace ui
