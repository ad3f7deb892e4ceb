#include "capture/pipewire/eventloop.h"

#include <glib-unix.h>

#include <utility>

namespace capture::pipewire {
namespace {

using Ready = std::function<void()>;

gboolean onReadable(gint /*file*/, GIOCondition /*condition*/, gpointer data) {
    (*static_cast<Ready*>(data))();
    return G_SOURCE_CONTINUE;
}

void deleteReady(gpointer data) {
    delete static_cast<Ready*>(data);
}

gboolean onTimeout(gpointer data) {
    *static_cast<bool*>(data) = true;
    return G_SOURCE_REMOVE;
}

}  // namespace

EventLoop::EventLoop() : m_context(g_main_context_new()), m_cancellable(g_cancellable_new()) {}

bool EventLoop::runUntil(const std::function<bool()>& done,
                         std::optional<std::chrono::milliseconds> limit) {
    bool late = false;
    GHolder<GSource> timeout;
    if (limit) {
        timeout.reset(g_timeout_source_new(static_cast<guint>(limit->count())));
        g_source_set_callback(timeout.get(), onTimeout, &late, nullptr);
        g_source_attach(timeout.get(), m_context.get());
    }
    while (!m_stopped) {
        if (done()) {
            return true;
        }
        if (late) {
            return false;
        }
        g_main_context_iteration(m_context.get(), TRUE);
    }
    return false;
}

void EventLoop::drain() {
    while (g_main_context_iteration(m_context.get(), FALSE) != FALSE) {
    }
}

void EventLoop::stop() {
    m_stopped = true;
    g_cancellable_cancel(m_cancellable.get());
    g_main_context_wakeup(m_context.get());
}

GHolder<GSource> EventLoop::watch(int file, std::function<void()> ready) {
    GHolder<GSource> source(g_unix_fd_source_new(file, G_IO_IN));
    g_source_set_callback(source.get(), G_SOURCE_FUNC(onReadable), new Ready(std::move(ready)),
                          deleteReady);
    g_source_attach(source.get(), m_context.get());
    return source;
}

}  // namespace capture::pipewire
