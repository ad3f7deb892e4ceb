#pragma once
// Set-up of the process logger, and Qt's message handler.

#include <QString>
#include <QtGlobal>

enum class LogConsole { Everything, Nothing };

/// Sets up the process logger with a console sink and a rotating file sink, and sends Qt's messages
/// to it. A sink that fails is reported on standard output; the others are used. Call it once,
/// before the application object exists, so that no message of Qt is lost.
void initLogger(LogConsole console = LogConsole::Everything);

/// After initLogger(LogConsole::Nothing): from now on the console shows warnings and errors.
void logWarningsToConsole();

/// The log file's path, without extension: fileName in the folder organisation/appFolder/log of
/// the user's application data. Creates the folder; an error shows when the file is opened.
[[nodiscard]] QString logFilePath(const QString& appFolder, const QString& fileName,
                                  const QString& organisation);

/// Logs a message of Qt verbatim, without a source location. Any thread.
void qtMessageHandler(QtMsgType type, const QMessageLogContext& context, const QString& message);
