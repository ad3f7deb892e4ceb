#pragma once
// Graphics adapters, their outputs, and which output shows a screen.

#include <cstdint>
#include <list>
#include <string>

#include "screens/screensdetector.h"

struct OutputDescInfo {
    std::int32_t left = 0;  ///< Desktop coordinates, physical pixels.
    std::int32_t top = 0;
    std::int32_t right = 0;
    std::int32_t bottom = 0;
    std::string deviceName;  ///< UTF-8; what ScreenCapturer::InitCapture() is called with.
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

/// The device name of the first output whose top-left corner is the screen's, or "". Width and
/// height do not matter: mirrored outputs share a corner, and the first one serves.
[[nodiscard]] std::string findOutputDeviceName(const std::list<DeviceAdaptorInfo>& adaptors,
                                               const struScreenItem& screen);
