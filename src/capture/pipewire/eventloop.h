#pragma once
// The one loop in which everything of a screen cast happens, D-Bus and PipeWire alike.

#include <gio/gio.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace capture::pipewire {

struct GFree {
    void operator()(gpointer memory) const { g_free(memory); }
    void operator()(GError* error) const { g_error_free(error); }
    void operator()(GVariant* value) const { g_variant_unref(value); }
    void operator()(GMainContext* context) const { g_main_context_unref(context); }
    void operator()(GSource* source) const {
        g_source_destroy(source);
        g_source_unref(source);
    }
};
template <typename T>
using GHolder = std::unique_ptr<T, GFree>;

/// A GLib main context for one thread. Only stop() may be called from another one.
class EventLoop {
public:
    EventLoop();

    /// Makes this the loop of the calling thread until it is destroyed.
    class Entered {
    public:
        explicit Entered(EventLoop& loop) : m_context(loop.m_context.get()) {
            g_main_context_push_thread_default(m_context);
        }
        ~Entered() { g_main_context_pop_thread_default(m_context); }
        Entered(const Entered&) = delete;
        Entered& operator=(const Entered&) = delete;

    private:
        GMainContext* m_context;
    };

    /// Handles events until `done` holds. False: stop() was called, or `limit` passed.
    bool runUntil(const std::function<bool()>& done,
                  std::optional<std::chrono::milliseconds> limit = {});

    /// Handles what is there already, stopped or not.
    void drain();

    /// Ends this and every later runUntil().
    void stop();
    [[nodiscard]] bool stopped() const { return m_stopped; }

    /// Ends what blocks inside GLib together with the loop.
    [[nodiscard]] GCancellable* cancellable() const { return m_cancellable.get(); }

    /// Calls `ready` whenever `file` can be read, until the result is destroyed.
    [[nodiscard]] GHolder<GSource> watch(int file, std::function<void()> ready);

private:
    struct Unref {
        void operator()(GCancellable* cancellable) const { g_object_unref(cancellable); }
    };

    GHolder<GMainContext> m_context;
    std::unique_ptr<GCancellable, Unref> m_cancellable;
    std::atomic<bool> m_stopped{false};
};

}  // namespace capture::pipewire
