#pragma once

#include <QString>
#include <string>

namespace session {

/// The choices of an earlier session, from group `SystemSet` of a settings file. A number is -1
/// where its key is missing, and 0 where its value is no number.
struct SavedSettings {
    std::string name;  ///< UTF-8; "" when none is stored.
    int screenIndex = -1;
    int frameRate = -1;
    int forceUseOldCapture = -1;
    int liveRegion = -1;
    int keepDisplayOn = -1;
};

[[nodiscard]] SavedSettings readSavedSettings(const QString& file);

}  // namespace session
