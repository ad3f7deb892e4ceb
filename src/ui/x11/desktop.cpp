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

/// The resources that the desktop's settings set for all programs, "NAME: VALUE" lines.
std::string resources(const Connection& connection) {
    constexpr std::uint32_t kMostWords = 1U << 18U;
    auto* const c = connection.get();
    const Owned<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(c,
                               xcb_get_property(c, 0, connection.root(), XCB_ATOM_RESOURCE_MANAGER,
                                                XCB_ATOM_STRING, 0, kMostWords),
                               nullptr));
    if (!reply) {
        return {};
    }
    return {static_cast<const char*>(xcb_get_property_value(reply.get())),
            static_cast<std::size_t>(xcb_get_property_value_length(reply.get()))};
}

/// A desktop scales by the resource Xft.dpi. Without it Qt would compute a factor from the size in
/// millimetres that the server reports, which is rounded or made up: 1.0004.
void scaleAsTheDesktopSays() {
    const auto connection = connect();
    if (connection && !qEnvironmentVariableIsSet("QT_FONT_DPI") &&
        resources(*connection).find("Xft.dpi:") == std::string::npos) {
        qputenv("QT_FONT_DPI", "96");
    }
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

bool clicksPassTransparentPixels() {
    return false;
}

void leaveOutOfCapture(const QWidget& /*window*/) {}

bool compositorPlacesWindows() {
    return support::wayland::isWaylandSession();
}

bool overlayHidesScreen() {
    return QGuiApplication::platformName().startsWith("wayland") &&
           qgetenv("QT_WAYLAND_SHELL_INTEGRATION") != "layer-shell";
}

void chooseWindowSystem() {
    if (support::wayland::isWaylandSession() && !qEnvironmentVariableIsEmpty("DISPLAY") &&
        !qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "xcb");
    }
    scaleAsTheDesktopSays();
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
