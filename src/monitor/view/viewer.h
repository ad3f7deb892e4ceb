#pragma once
// ndimonitor --view: shows a source in a window.

#include <atomic>

#include "monitor/options.h"
#include "monitor/receiver.h"

namespace monitor {

/// Shows the target until the user closes the window or `interrupted` becomes true. To be called on
/// the main thread. Throws std::runtime_error when there can be no window, with the reason.
void view(const Target& target, const Options& options, const std::atomic<bool>& interrupted);

}  // namespace monitor
