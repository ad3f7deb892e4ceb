#pragma once
// Graphics adapters, their outputs, and the output that shows a screen.

#include <cstdint>
#include <list>
#include <string>

#include "screens/screensdetector.h"

struct OutputDescInfo {
    std::int32_t left = 0;  ///< Desktop coordinates, physical pixels.
    std::int32_t top = 0;
    std::int32_t right = 0;
    std::int32_t bottom = 0;
    std::string deviceName;  ///< UTF-8; the argument of ScreenCapturer::InitCapture().
    /// Name and scale for the operator's eyes in a Wayland session, such as "DP-1 x1.5"; else "".
    std::string label = {};
};

struct DeviceAdaptorInfo {
    std::uint32_t deviceId = 0;
    std::string adaptorName;
    std::uint32_t luidLowPart = 0;
    std::int32_t luidHighPart = 0;
    std::int32_t reserved = -1;
    std::list<OutputDescInfo> outputs;
};

/// The adapters in enumeration order, each logged at info level. Empty when there is no display.
[[nodiscard]] std::list<DeviceAdaptorInfo> enumerateAdaptors();

/// The device name of the first output with the same top-left corner as the screen, or "". Width
/// and height are not compared: of mirrored outputs, which share a corner, the first one is used.
[[nodiscard]] std::string findOutputDeviceName(const std::list<DeviceAdaptorInfo>& adaptors,
                                               const struScreenItem& screen);
