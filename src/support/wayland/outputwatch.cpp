#include "support/wayland/outputwatch.h"

#include <wayland-client.h>

namespace support::wayland {

void OutputWatch::Disconnect::operator()(wl_display* display) const {
    wl_display_disconnect(display);
}

OutputWatch::OutputWatch() : m_display(wl_display_connect(nullptr)) {
    static constexpr wl_registry_listener kEvents = {onGlobal, onGlobalGone};
    if (!m_display) {
        return;
    }
    m_registry = wl_display_get_registry(m_display.get());
    wl_registry_add_listener(m_registry, &kEvents, this);
    // Tells what there is already.
    m_changed = wl_display_roundtrip(m_display.get()) < 0;
}

OutputWatch::~OutputWatch() {
    if (m_registry != nullptr) {
        wl_registry_destroy(m_registry);
    }
}

int OutputWatch::file() const {
    return m_display ? wl_display_get_fd(m_display.get()) : -1;
}

void OutputWatch::dispatch() {
    wl_display* display = m_display.get();
    while (wl_display_prepare_read(display) != 0) {
        wl_display_dispatch_pending(display);
    }
    if (wl_display_read_events(display) < 0 || wl_display_dispatch_pending(display) < 0) {
        m_changed = true;
    }
}

void OutputWatch::onGlobal(void* data, wl_registry* /*registry*/, std::uint32_t /*number*/,
                           const char* /*interface*/, std::uint32_t /*version*/) {
    static_cast<OutputWatch*>(data)->m_changed = true;
}

void OutputWatch::onGlobalGone(void* data, wl_registry* /*registry*/, std::uint32_t /*number*/) {
    static_cast<OutputWatch*>(data)->m_changed = true;
}

}  // namespace support::wayland
