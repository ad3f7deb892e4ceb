#pragma once

#include <string>

#include "screens/screensdetector.h"

namespace ui {

/// The settings in force when the window opens.
struct SessionSettings {
    std::string file;  ///< Local 8-bit encoding.
    std::string name;
    int screenIndex = 0;
    int frameRate = 0;
    bool forceUseOldCapture = false;
};

/// Logs version, platform, session type, screens and settings.
void logSession(const struScreensMsg& screens, const SessionSettings& settings);

}  // namespace ui
