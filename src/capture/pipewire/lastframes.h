#pragma once

#include <string>

#include "capture/screencapturer.h"

namespace capture::pipewire {

/// Keeps the newest frame of a screen when its cast ends: a portal may send no frame of a screen on
/// which nothing changes. An empty `frame` changes nothing. Thread-safe, as is lastFrame().
void keepLastFrame(const std::string& screen, StillFrame frame);

/// Empty: this process has not captured the screen.
[[nodiscard]] StillFrame lastFrame(const std::string& screen);

}  // namespace capture::pipewire
