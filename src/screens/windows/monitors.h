#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "screens/screensdetector.h"

namespace screens {

struct Monitor {
    std::wstring deviceName;  ///< "\\.\DISPLAY1" and so on.
    RECT desktop = {};        ///< Physical pixels.
    bool primary = false;
};

/// The monitors as a record, at most 20, ordered by the number in their names, which Windows keeps
/// from run to run.
[[nodiscard]] struScreensMsg screensOf(std::vector<Monitor> monitors);

}  // namespace screens
