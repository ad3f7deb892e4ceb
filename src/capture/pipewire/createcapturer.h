#pragma once

#include <memory>

#include "capture/screencapturer.h"

namespace capture::pipewire {

/// The Wayland module's capturer. Where the module can't be loaded, one that says so at each
/// InitCapture() and tries again; it has no frames.
[[nodiscard]] std::unique_ptr<ScreenCapturer> createCapturer();

}  // namespace capture::pipewire
