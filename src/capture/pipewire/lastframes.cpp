#include "capture/pipewire/lastframes.h"

#include <map>
#include <mutex>
#include <utility>

namespace capture::pipewire {
namespace {

std::mutex g_mutex;
std::map<std::string, StillFrame> g_frames;

}  // namespace

void keepLastFrame(const std::string& screen, StillFrame frame) {
    if (frame.pixels.empty()) {
        return;
    }
    const std::lock_guard lock(g_mutex);
    g_frames[screen] = std::move(frame);
}

StillFrame lastFrame(const std::string& screen) {
    const std::lock_guard lock(g_mutex);
    const auto found = g_frames.find(screen);
    return found != g_frames.end() ? found->second : StillFrame();
}

}  // namespace capture::pipewire
