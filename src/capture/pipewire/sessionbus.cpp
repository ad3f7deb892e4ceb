#include "capture/pipewire/sessionbus.h"

#include <cstdlib>
#include <filesystem>

namespace capture::pipewire {
namespace {

/// The bus's address without ever starting a bus, which GLib would do by way of an X display.
std::string busAddress() {
    if (const char* given = std::getenv("DBUS_SESSION_BUS_ADDRESS"); given != nullptr) {
        return given;
    }
    const char* folder = std::getenv("XDG_RUNTIME_DIR");
    const std::string socket = std::string(folder != nullptr ? folder : "") + "/bus";
    std::error_code ignored;
    return std::filesystem::exists(socket, ignored) ? "unix:path=" + socket : "";
}

}  // namespace

std::string takeError(GError* error) {
    const GHolder<GError> holder(error);
    g_dbus_error_strip_remote_error(error);
    return error->message;
}

SessionBus::~SessionBus() {
    if (!m_connection) {
        return;
    }
    for (const guint signal : m_signals) {
        g_dbus_connection_signal_unsubscribe(m_connection.get(), signal);
    }
    g_dbus_connection_close_sync(m_connection.get(), nullptr, nullptr);
    // What GLib still has to say about it holds the connection, and with it this thread's context.
    m_loop.drain();
}

bool SessionBus::connect(std::string& error) {
    const std::string address = busAddress();
    if (address.empty()) {
        error = "there is no D-Bus session bus";
        return false;
    }
    GError* failure = nullptr;
    m_connection.reset(g_dbus_connection_new_for_address_sync(
        address.c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, m_loop.cancellable(), &failure));
    if (!m_connection) {
        error = "the D-Bus session bus can't be reached: " + takeError(failure);
    }
    return m_connection != nullptr;
}

void SessionBus::watchOwner(const char* name, GDBusSignalFlags flags, GDBusSignalCallback changed,
                            gpointer data) {
    m_signals.push_back(g_dbus_connection_signal_subscribe(
        m_connection.get(), "org.freedesktop.DBus", "org.freedesktop.DBus", "NameOwnerChanged",
        "/org/freedesktop/DBus", name, flags, changed, data, nullptr));
}

}  // namespace capture::pipewire
