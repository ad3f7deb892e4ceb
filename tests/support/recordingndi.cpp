#include "support/recordingndi.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "support/eventually.h"

namespace recording {
namespace {

std::mutex g_mutex;
std::condition_variable g_sent;
int g_count = 0;
Sent g_last;
std::function<void(const Sent&)> g_whileSending;
thread_local support::DirtyRows t_hint;
std::atomic<bool> g_readsAlpha{true};

}  // namespace

void begin(std::function<void(const Sent&)> whileSending) {
    const std::lock_guard lock(g_mutex);
    g_count = 0;
    g_last = {};
    g_whileSending = std::move(whileSending);
}

void setReadsAlpha(bool reads) {
    g_readsAlpha = reads;
}

int count() {
    const std::lock_guard lock(g_mutex);
    return g_count;
}

Sent last() {
    const std::lock_guard lock(g_mutex);
    return g_last;
}

bool waitFor(const std::function<bool(const Sent&, int count)>& isWanted) {
    std::unique_lock lock(g_mutex);
    return g_sent.wait_for(lock, tests::kPatience,
                           [&] { return g_count > 0 && isWanted(g_last, g_count); });
}

}  // namespace recording

bool NDIlib_initialize() {
    return true;
}

NDIlib_send_instance_t NDIlib_send_create(const NDIlib_send_create_t* /*settings*/) {
    return nullptr;
}

void NDIlib_send_destroy(NDIlib_send_instance_t /*instance*/) {}

void ndi::hintDirtyRows(NDIlib_send_instance_t /*instance*/, const support::DirtyRows& dirty) {
    recording::t_hint = dirty;
}

bool ndi::readsAlpha() {
    return recording::g_readsAlpha;
}

void NDIlib_send_send_video_v2(NDIlib_send_instance_t instance,
                               const NDIlib_video_frame_v2_t* frame) {
    using namespace recording;
    const auto size = static_cast<std::size_t>(frame->xres * frame->yres * 4);
    const Sent sent{
        instance, *frame, {frame->p_data, frame->p_data + size}, std::exchange(t_hint, {})};
    {
        const std::lock_guard lock(g_mutex);
        ++g_count;
        g_last = sent;
    }
    g_sent.notify_all();
    if (g_whileSending) {
        g_whileSending(sent);
    }
}
