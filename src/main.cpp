// Starts the program in a fixed order, logger first, window last, and shuts it down again.
#include <QApplication>
#include <cstdio>

#include "commandline.h"
#include "support/log.h"
#include "support/logging.h"
#include "support/settings.h"
#include "support/translation.h"
#include "ui/application.h"
#include "ui/ndisenderui.h"

namespace {
/// Writes the closing banner and shuts the logger down. Only main() calls it; a killed process
/// writes no banner. Log readers identify the banner by its texts (the middle line is one character
/// shorter on purpose) and by its line numbers in this file.
void stopCallback() {
    static_assert(__LINE__ == 18, "the banner must be on lines 19, 20 and 21");
    HV_INFO("####################################################");
    HV_INFO("#                    STOP                         #");
    HV_INFO("####################################################");
    HV::SpdlogApplication::instance().flush();
    HV::SpdlogApplication::instance().shutdownLogger();
}

}  // namespace

// An uncaught exception terminates the program; there is nothing to recover here.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char* argv[]) {
    if (const auto answer = consoleAnswer(argc, argv)) {
        std::fputs(answer->c_str(), stdout);
        return 0;
    }
    initLogger();
    initIniPath();
    ui::prepareApplication();
    QCoreApplication::setAttribute(Qt::AA_UseOpenGLES, true);
    const QApplication application(argc, argv);

    loadStartLanguage(QString::fromLocal8Bit(g_iniPath.c_str()));

    NDISenderUI window(g_iniPath, nullptr);
    window.show();
    window.setIniPath(g_iniPath);

    const int exitCode = QApplication::exec();
    // The window is destroyed after the banner, so that the banner ends the log.
    stopCallback();
    return exitCode;
}
