#pragma once

#include <string>

struct AVFrame;

namespace monitor {

/// Writes a decoded frame to `file`, converted by RgbConverter. Returns "" or what failed.
[[nodiscard]] std::string savePng(const AVFrame& frame, const std::string& file);

/// Checks that `file` can be created or overwritten, and leaves it as it is. Returns "" or what
/// failed.
[[nodiscard]] std::string checkWritable(const std::string& file);

}  // namespace monitor
