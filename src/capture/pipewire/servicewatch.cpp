#include "capture/pipewire/servicewatch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string_view>

namespace capture::pipewire {
namespace {

const char* variable(const char* name, const char* otherwise) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : otherwise;
}

bool isSocket(std::string_view name) {
    return name == variable("WAYLAND_DISPLAY", "wayland-0") ||
           name == variable("PIPEWIRE_REMOTE", "pipewire-0");
}

}  // namespace

ServiceWatch::ServiceWatch(EventLoop& loop)
    : m_bus(loop), m_files(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (m_files >= 0) {
        ::inotify_add_watch(m_files, variable("XDG_RUNTIME_DIR", ""), IN_CREATE | IN_MOVED_TO);
        m_source = loop.watch(m_files, [this] { readFiles(); });
    }
    std::string ignored;
    if (m_bus.connect(ignored)) {
        m_bus.watchOwner("org.freedesktop.portal.Desktop", G_DBUS_SIGNAL_FLAGS_NONE, onOwnerChanged,
                         this);
        m_bus.watchOwner("org.freedesktop.impl.portal.desktop",
                         G_DBUS_SIGNAL_FLAGS_MATCH_ARG0_NAMESPACE, onOwnerChanged, this);
    }
}

ServiceWatch::~ServiceWatch() {
    m_source.reset();
    if (m_files >= 0) {
        ::close(m_files);
    }
}

void ServiceWatch::onOwnerChanged(GDBusConnection* /*bus*/, const char* /*sender*/,
                                  const char* /*path*/, const char* /*interface*/,
                                  const char* /*signal*/, GVariant* parameters, gpointer self) {
    const char* newOwner = "";
    g_variant_get(parameters, "(&s&s&s)", nullptr, nullptr, &newOwner);
    if (*newOwner != '\0') {
        static_cast<ServiceWatch*>(self)->m_came = true;
    }
}

void ServiceWatch::readFiles() {
    alignas(inotify_event) char events[4096];
    ssize_t bytes = 0;
    while ((bytes = ::read(m_files, events, sizeof events)) > 0) {
        inotify_event event{};
        for (ssize_t at = 0; at < bytes;
             at += static_cast<ssize_t>(sizeof event) + static_cast<ssize_t>(event.len)) {
            std::memcpy(&event, events + at, sizeof event);
            m_came = m_came || (event.len > 0 && isSocket(events + at + sizeof event));
        }
    }
}

}  // namespace capture::pipewire
