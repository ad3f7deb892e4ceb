#pragma once

#include <string>

namespace capture {

/// FFmpeg's input device for grabbing the desktop on this platform, and its options. Position and
/// size are physical pixels of the whole desktop.
struct GrabDevice {
    const char* format;      ///< FFmpeg's name of the device.
    std::string source;      ///< The URL to open.
    const char* optionX;     ///< Option for the region's left edge.
    const char* optionY;     ///< Option for the region's top edge.
    std::string error = {};  ///< Why nothing can be grabbed here; "" where it can.
};

[[nodiscard]] GrabDevice platformGrabDevice();

}  // namespace capture
