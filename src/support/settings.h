#pragma once

#include <QString>
#include <string>

/// Full path of the settings file in the local 8-bit encoding; empty until initIniPath() ran.
extern std::string g_iniPath;

/// Computes g_iniPath below the per-user application-data folder and creates its folder.
void initIniPath();

/// Reads one key of an INI file: opens, reads and closes it. Missing key or file: "". What can't
/// be read is logged and reads as missing.
[[nodiscard]] QString readIniValue(const QString& path, const QString& group, const QString& key);

/// Writes one key of an INI file at once. A failure to write is logged, nothing else happens.
void writeIniValue(const QString& path, const QString& group, const QString& key,
                   const QString& value);
