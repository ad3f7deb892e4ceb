#pragma once

#include <string>

struct AVFrame;

namespace monitor {

/// Writes a decoded frame as RGB. Its colours are read as limited range: BT.601 up to 720x576,
/// else BT.709. Returns "" or what failed.
[[nodiscard]] std::string savePng(const AVFrame& frame, const std::string& file);

}  // namespace monitor
