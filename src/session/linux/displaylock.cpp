#include "session/displaylock.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <utility>

namespace session {
namespace {

/// The desktop releases the display when this connection ends.
constexpr char kConnection[] = "display lock";

void ask() {
    // Without an address libdbus would start a bus.
    if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")) {
        return;
    }
    const QDBusConnection bus =
        QDBusConnection::connectToBus(QDBusConnection::SessionBus, kConnection);
    auto request = QDBusMessage::createMethodCall("org.freedesktop.ScreenSaver",
                                                  "/org/freedesktop/ScreenSaver",
                                                  "org.freedesktop.ScreenSaver", "Inhibit");
    request << "TarsinNDI"
            << "A screen is sent live";
    request.setAutoStartService(false);
    bus.send(request);
}

}  // namespace

void DisplayLock::hold(bool on) {
    if (std::exchange(m_held, on) == on) {
        return;
    }
    if (on) {
        ask();
    } else {
        QDBusConnection::disconnectFromBus(kConnection);
    }
}

void keepTimersExact() {}

}  // namespace session
