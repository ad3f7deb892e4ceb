#include "session/savedsettings.h"

#include <QSettings>

#include "support/settings.h"

namespace session {
namespace {

int readNumber(const QString& path, const char* key) {
    QSettings file(path, QSettings::IniFormat);
    file.beginGroup("SystemSet");
    return file.value(key, -1).toInt();
}

}  // namespace

SavedSettings readSavedSettings(const QString& file) {
    return {readIniValue(file, "SystemSet", "name").toStdString(),
            readNumber(file, "screenIndex"),
            readNumber(file, "frameRate"),
            readNumber(file, "forceUseOldCapture"),
            readNumber(file, "liveRegion"),
            readNumber(file, "keepDisplayOn")};
}

}  // namespace session
