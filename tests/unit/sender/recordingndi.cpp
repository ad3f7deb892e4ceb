#include "unit/sender/recordingndi.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace recording {
namespace {

std::mutex g_mutex;
std::condition_variable g_sent;
int g_count = 0;
Sent g_last;
std::atomic<int> g_sendMilliseconds{0};

}  // namespace

void clear() {
    const std::lock_guard lock(g_mutex);
    g_count = 0;
    g_last = {};
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
    int seen = g_count;
    return g_sent.wait_for(lock, std::chrono::seconds(10), [&] {
        const bool isNew = g_count > seen;
        seen = g_count;
        return isNew && isWanted(g_last, g_count);
    });
}

void setSendTime(int milliseconds) {
    g_sendMilliseconds = milliseconds;
}

}  // namespace recording

bool NDIlib_initialize() {
    return true;
}

NDIlib_send_instance_t NDIlib_send_create(const NDIlib_send_create_t* /*settings*/) {
    return nullptr;
}

void NDIlib_send_destroy(NDIlib_send_instance_t /*instance*/) {}

void NDIlib_send_send_video_v2(NDIlib_send_instance_t instance,
                               const NDIlib_video_frame_v2_t* frame) {
    using namespace recording;
    const auto size = static_cast<std::size_t>(frame->xres * frame->yres * 4);
    {
        const std::lock_guard lock(g_mutex);
        ++g_count;
        g_last = {instance, *frame, {frame->p_data, frame->p_data + size}};
    }
    g_sent.notify_all();
    std::this_thread::sleep_for(std::chrono::milliseconds(g_sendMilliseconds));
}
