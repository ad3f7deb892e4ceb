#pragma once

#include <string>

struct AVFrame;

namespace monitor {

/// Writes a decoded YCbCr frame to `file` as an RGB image. Converts from limited range, with the
/// BT.601 matrix up to 720x576 and with BT.709 above. Returns "" or what failed.
[[nodiscard]] std::string savePng(const AVFrame& frame, const std::string& file);

/// Checks that `file` can be created or overwritten, and leaves it as it is. Returns "" or what
/// failed.
[[nodiscard]] std::string checkWritable(const std::string& file);

}  // namespace monitor
