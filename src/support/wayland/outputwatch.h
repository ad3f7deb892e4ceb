#pragma once
// Tells when the compositor's outputs change. Part of the module: needs the Wayland client library.

#include <cstdint>
#include <memory>

struct wl_display;
struct wl_registry;

namespace support::wayland {

/// A connection to the compositor of its own. Belongs to one thread.
class OutputWatch {
public:
    OutputWatch();
    ~OutputWatch();
    OutputWatch(const OutputWatch&) = delete;
    OutputWatch& operator=(const OutputWatch&) = delete;

    /// Can be read when dispatch() has something to do. -1: no compositor answers.
    [[nodiscard]] int file() const;

    /// Handles what has come. Never blocks.
    void dispatch();

    /// Since the constructor returned, outputs (or other globals) have come or gone, or the
    /// compositor itself has gone.
    [[nodiscard]] bool changed() const { return m_changed; }

private:
    struct Disconnect {
        void operator()(wl_display* display) const;
    };

    static void onGlobal(void* data, wl_registry*, std::uint32_t, const char*, std::uint32_t);
    static void onGlobalGone(void* data, wl_registry*, std::uint32_t);

    std::unique_ptr<wl_display, Disconnect> m_display;
    wl_registry* m_registry = nullptr;
    bool m_changed = false;
};

}  // namespace support::wayland
