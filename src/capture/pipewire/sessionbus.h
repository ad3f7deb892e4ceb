#pragma once
// A connection of its own to the D-Bus session bus.

#include <gio/gio.h>

#include <string>
#include <vector>

#include "capture/pipewire/eventloop.h"

namespace capture::pipewire {

/// Belongs to the thread of the loop, whose events include this connection's.
class SessionBus {
public:
    explicit SessionBus(EventLoop& loop) : m_loop(loop) {}
    ~SessionBus();
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;

    /// Ends with the loop. Never starts a bus. False: `error` says why not.
    [[nodiscard]] bool connect(std::string& error);

    /// Null before connect().
    [[nodiscard]] GDBusConnection* get() const { return m_connection.get(); }

    /// Calls `changed` with NameOwnerChanged's (name, old owner, new owner) when the owner of
    /// `name` changes, or of a name below it where `flags` say so. Until this is destroyed.
    void watchOwner(const char* name, GDBusSignalFlags flags, GDBusSignalCallback changed,
                    gpointer data);

private:
    struct Unref {
        void operator()(GDBusConnection* connection) const { g_object_unref(connection); }
    };

    EventLoop& m_loop;
    std::unique_ptr<GDBusConnection, Unref> m_connection;
    std::vector<guint> m_signals;
};

/// Frees `error`. Its text without D-Bus's name for it.
[[nodiscard]] std::string takeError(GError* error);

}  // namespace capture::pipewire
