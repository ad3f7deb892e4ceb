#pragma once
// Set-up of the process logger and Qt's way into it.

#include <QString>
#include <QtGlobal>

/// Console and rotating file sinks, the logger, and Qt's messages into it. A sink that can't be
/// made is reported on standard output; the program runs on with those that could.
void initLogger();

/// The log file's path, without extension; creates its folder.
[[nodiscard]] QString logFilePath(const QString& appFolder, const QString& fileName,
                                  const QString& organisation);

void qtMessageHandler(QtMsgType type, const QMessageLogContext& context, const QString& message);
