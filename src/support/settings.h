#pragma once

#include <QString>
#include <string>

/// Full path of the settings file in the local 8-bit encoding; empty until initIniPath() ran.
extern std::string g_iniPath;

/// Computes g_iniPath below the per-user application-data folder and creates its folder.
void initIniPath();

/// Reads one key of an INI file: opens, reads and closes it. "" when key or file is missing, or
/// when the file can't be read, which is logged.
[[nodiscard]] QString readIniValue(const QString& path, const QString& group, const QString& key);

/// The same for a key that may hold several entries separated by commas, which the INI format takes
/// for a list: the entries, separated by commas.
[[nodiscard]] QString readIniList(const QString& path, const QString& group, const QString& key);

/// Writes one key of an INI file at once. A failure is logged and otherwise ignored.
void writeIniValue(const QString& path, const QString& group, const QString& key,
                   const QString& value);
