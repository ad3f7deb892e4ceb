#include "support/logging.h"

#include <exception>
#include <iostream>

#include "support/appdata.h"
#include "support/hv/spdlogapplication.h"

namespace {

constexpr char kConsolePattern[] = "%^%H:%M:%S.%e [%t] [%l] [%n] %v%$";
constexpr char kFilePattern[] = "%Y-%m-%d %H:%M:%S.%e [%t] [%l] [%n] %v";
constexpr std::size_t kMaxFileBytes = 102400;
constexpr std::size_t kMaxFiles = 50;

spdlog::level::level_enum levelOf(QtMsgType type) {
    switch (type) {
        case QtDebugMsg:
            return spdlog::level::debug;
        case QtInfoMsg:
            return spdlog::level::info;
        case QtWarningMsg:
            return spdlog::level::warn;
        case QtCriticalMsg:
            return spdlog::level::err;
        case QtFatalMsg:
            return spdlog::level::critical;
    }
    return spdlog::level::trace;
}

void appendSinks(HV::SpdlogBase& application, LogConsole console) {
    const QString path = logFilePath("TarsinNDI", "TarsinNDI", "Halvark");
    if (console == LogConsole::Everything) {
        application.appendConsoleSink(spdlog::level::trace, kConsolePattern);
    }
    application.appendRotatingFileSink(spdlog::level::trace, kFilePattern,
                                       path.toLocal8Bit().toStdString(), kMaxFileBytes, kMaxFiles);
}

}  // namespace

void initLogger(LogConsole console) {
    HV::SpdlogBase& application = HV::SpdlogApplication::instance();
    try {
        appendSinks(application, console);
    } catch (const std::exception& failure) {
        std::cout << "Log init failed: " << failure.what() << std::endl;
    } catch (...) {
        std::cout << "Log init failed: unknow" << std::endl;
    }
    application.setupLogger();
    qInstallMessageHandler(qtMessageHandler);
}

void logWarningsToConsole() {
    HV::SpdlogBase& application = HV::SpdlogApplication::instance();
    application.appendConsoleSink(spdlog::level::warn, kConsolePattern);
    application.setupLogger();
}

QString logFilePath(const QString& appFolder, const QString& fileName,
                    const QString& organisation) {
    const QString folder = support::appDataFolder(organisation, {appFolder, "log"});
    support::ensureFolder(folder);
    return folder + fileName;
}

void qtMessageHandler(QtMsgType type, const QMessageLogContext& /*context*/,
                      const QString& message) {
    const QByteArray text = message.toUtf8();  // as every other line of the log file
    HV::SpdlogApplication::instance().logger()->log(
        levelOf(type),
        spdlog::string_view_t(text.constData(), static_cast<std::size_t>(text.size())));
}
