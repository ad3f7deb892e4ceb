#pragma once
// Tells when a service that a screen cast needs comes back.

#include "capture/pipewire/eventloop.h"
#include "capture/pipewire/sessionbus.h"

namespace capture::pipewire {

/// Watches the session bus for the desktop portal and its back ends, and XDG_RUNTIME_DIR for the
/// sockets of the compositor and of PipeWire. Belongs to the thread of the loop.
///
/// What is out of reach is not watched: a socket elsewhere (WAYLAND_DISPLAY or PIPEWIRE_REMOTE with
/// a path), everything on a bus that is gone. wireplumber has neither a name nor a socket.
class ServiceWatch {
public:
    explicit ServiceWatch(EventLoop& loop);
    ~ServiceWatch();
    ServiceWatch(const ServiceWatch&) = delete;
    ServiceWatch& operator=(const ServiceWatch&) = delete;

    /// A service has come since the last forget(). It may need a moment until it serves.
    [[nodiscard]] bool came() const { return m_came; }
    void forget() { m_came = false; }

private:
    static void onOwnerChanged(GDBusConnection*, const char*, const char*, const char*, const char*,
                               GVariant* parameters, gpointer self);
    void readFiles();

    bool m_came = false;
    SessionBus m_bus;
    int m_files;  ///< inotify's.
    GHolder<GSource> m_source;
};

}  // namespace capture::pipewire
