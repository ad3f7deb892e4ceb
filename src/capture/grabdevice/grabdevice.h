#pragma once

#include <string>

namespace capture {

/// FFmpeg's input device that grabs the desktop on this platform, and how it is told what to grab.
/// Position and size are physical pixels of the whole desktop.
struct GrabDevice {
    const char* format;   ///< FFmpeg's name of the device.
    std::string source;   ///< What is opened.
    const char* optionX;  ///< The device's option for the region's left edge,
    const char* optionY;  ///< and for its top edge.
};

[[nodiscard]] GrabDevice platformGrabDevice();

}  // namespace capture
