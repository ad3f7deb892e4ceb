#pragma once
// Set-up of the process logger and Qt's way into it.

#include <QString>
#include <QtGlobal>

/// Console and rotating file sinks, the logger, and Qt's messages into it. A sink that can't be
/// made is reported on standard output; the program runs on with those that could. Call it once,
/// before the application object exists, so that nothing Qt says is missed.
void initLogger();

/// The log file's path, without extension: fileName in the folder organisation/appFolder/log of
/// the user's application data. Creates the folder; whether that worked shows when the file is
/// opened.
[[nodiscard]] QString logFilePath(const QString& appFolder, const QString& fileName,
                                  const QString& organisation);

/// Logs a message of Qt's as it is, without a place in the source. Any thread.
void qtMessageHandler(QtMsgType type, const QMessageLogContext& context, const QString& message);
