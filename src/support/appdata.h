#pragma once

#include <QString>
#include <QStringList>

namespace support {

/// The folder `below` the folder `maker` in the user's application data, with a trailing native
/// separator: on Linux "$XDG_DATA_HOME/Halvark/..." (default ~/.local/share), on Windows the
/// roaming folder. The same before and after the application object exists, whatever it is called.
[[nodiscard]] QString appDataFolder(const QString& maker, const QStringList& below);

/// Creates the folder and its missing parents. False: it does not exist afterwards.
bool ensureFolder(const QString& folder);

}  // namespace support
