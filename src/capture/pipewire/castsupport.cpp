#include "capture/pipewire/castsupport.h"

#include <pipewire/pipewire.h>

#include <cerrno>
#include <cstring>

#include "capture/pipewire/eventloop.h"
#include "capture/pipewire/portal.h"

namespace capture::pipewire {
namespace {

constexpr std::chrono::seconds kPatience{3};

struct LoopDeleter {
    void operator()(pw_loop* loop) const { pw_loop_destroy(loop); }
    void operator()(pw_context* context) const { pw_context_destroy(context); }
    void operator()(pw_core* core) const { pw_core_disconnect(core); }
};

/// Asks the daemon for its version. Returns "" or why there is none.
std::string askPipeWire(EventLoop& loop, std::string& version) {
    const std::unique_ptr<pw_loop, LoopDeleter> inner(pw_loop_new(nullptr));
    const auto source = loop.watch(pw_loop_get_fd(inner.get()), [&] {
        pw_loop_enter(inner.get());
        pw_loop_iterate(inner.get(), 0);
        pw_loop_leave(inner.get());
    });
    const std::unique_ptr<pw_context, LoopDeleter> context(pw_context_new(inner.get(), nullptr, 0));
    if (!context) {
        return std::string("its client library did not start: ") + std::strerror(errno);
    }
    const std::unique_ptr<pw_core, LoopDeleter> core(pw_context_connect(context.get(), nullptr, 0));
    if (!core) {
        return std::string("no daemon can be reached: ") + std::strerror(errno);
    }
    pw_core_events events{};
    events.version = PW_VERSION_CORE_EVENTS;
    events.info = [](void* data, const pw_core_info* info) {
        *static_cast<std::string*>(data) = info->version;
    };
    spa_hook hook{};
    pw_core_add_listener(core.get(), &hook, &events, &version);
    const bool answered = loop.runUntil([&] { return !version.empty(); }, kPatience);
    spa_hook_remove(&hook);
    return answered ? "" : "the daemon does not answer";
}

}  // namespace

support::wayland::CastSupport describeCast() {
    support::wayland::CastSupport support;
    EventLoop loop;
    const EventLoop::Entered entered(loop);
    {
        Portal portal(loop, false, {}, [] {});
        PortalFailure failure;
        if (portal.connect(failure)) {
            support.portal = portal.offer().describe();
        } else {
            support.portalError = failure.text;
        }
    }
    pw_init(nullptr, nullptr);
    support.pipeWireLibrary = pw_get_library_version();
    support.pipeWireError = askPipeWire(loop, support.pipeWireDaemon);
    return support;
}

}  // namespace capture::pipewire
