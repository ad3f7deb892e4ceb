// Brings the program up in a fixed order and takes it down again. The logger comes first, before
// any Qt object, and the window goes last.

#include <QApplication>

#include "support/log.h"
#include "support/logging.h"
#include "support/settings.h"
#include "support/translation.h"
#include "ui/ndisenderui.h"

namespace {

/// Writes the closing banner and shuts the logger down. Called by main() alone; nothing calls it
/// when the process is killed. Those who read the logs know the banner by its texts, the middle
/// line one character short included, and by its place in this file.
void stopCallback() {
    static_assert(__LINE__ == 18, "the banner stands on lines 19, 20 and 21");
    HV_INFO("####################################################");
    HV_INFO("#                    STOP                         #");
    HV_INFO("####################################################");
    HV::SpdlogApplication::instance().flush();
    HV::SpdlogApplication::instance().shutdownLogger();
}

}  // namespace

// An exception that nobody catches ends the program at once, which is the best it can do.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char* argv[]) {
    initLogger();
    initIniPath();
    QCoreApplication::setAttribute(Qt::AA_UseOpenGLES, true);
    const QApplication application(argc, argv);

    StringToTranslate::instance().setTranslateStringMap(
        loadLanguageFile(QCoreApplication::applicationDirPath() + "/LanguageCN_Tools.xml"));

    NDISenderUI window(g_iniPath, nullptr);
    window.show();
    window.setIniPath(g_iniPath);

    const int exitCode = QApplication::exec();
    // The window goes after the banner: it is the last thing a log shows.
    stopCallback();
    return exitCode;
}
