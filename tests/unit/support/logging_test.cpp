#include "support/logging.h"

#include <gmock/gmock.h>

#include <QFileInfo>

#include "support/log.h"
#include "unit/support/datahome.h"

using testing::ContainsRegex;
using testing::MatchesRegex;

namespace {

/// What `talk` leaves in the log file and on the console.
struct Written {
    std::string file;
    std::string console;
};

template <typename Talk>
Written logged(const DataHome& home, Talk talk) {
    testing::internal::CaptureStdout();
    initLogger();
    talk();
    HV::SpdlogApplication::instance().shutdownLogger();
    qInstallMessageHandler(nullptr);
    return {DataHome::read(home.path("Halvark/TarsinNDI/log/TarsinNDI")).toStdString(),
            testing::internal::GetCapturedStdout()};
}

TEST(Log, LineHasPatternAndPlaceAndKeepsBraces) {
    const DataHome home;
    int line = 0;
    const auto written = logged(home, [&] {
        line = __LINE__ + 1;
        HV_INFO("{} is {}", "a {} b", 7);
    });
    const auto place = " \n //logging_test:operator\\(\\)\\(\\)#" + std::to_string(line) + "\\.\n";
    EXPECT_THAT(written.file,
                MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} "
                             "\\[[0-9]+\\] \\[INFO \\] \\[TarsinNDI\\] a \\{\\} b is 7" +
                             place));
    EXPECT_THAT(written.console,
                MatchesRegex("[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} \\[[0-9]+\\] \\[INFO \\] "
                             "\\[TarsinNDI\\] a \\{\\} b is 7" +
                             place));
}

TEST(Log, LevelsArePaddedAndQtMessagesComeAsTheyAre) {
    const DataHome home;
    const auto written = logged(home, [] {
        const QString text = QString::fromUtf8("grün {} %1 {:");
        for (const QtMsgType type :
             {QtDebugMsg, QtInfoMsg, QtWarningMsg, QtCriticalMsg, QtFatalMsg}) {
            qtMessageHandler(type, {}, text);
        }
        qWarning("%s", qPrintable(text));
    });
    std::string expected;
    for (const char* level : {"DEBUG", "INFO ", "WARN ", "ERROR", "FATAL", "WARN "}) {
        expected += std::string(".*\\[") + level + "\\] \\[TarsinNDI\\] grün \\{\\} %1 \\{:\n";
    }
    EXPECT_THAT(written.file, MatchesRegex(expected));
}

TEST(Log, FilesRotateAt100KiBAndAreAtMostFifty) {
    const DataHome home;
    const std::string text(2000, 'x');
    logged(home, [&] {
        for (int i = 0; i < 52 * 51; ++i) {
            HV_DEBUG("{}", text);
        }
    });
    const QDir folder(home.path("Halvark/TarsinNDI/log"));
    EXPECT_EQ(folder.entryList(QDir::Files).size(), 50);
    EXPECT_TRUE(folder.exists("TarsinNDI"));
    EXPECT_TRUE(folder.exists("TarsinNDI.49"));
    const auto full = QFileInfo(folder, "TarsinNDI.1").size();
    EXPECT_LE(full, 102400);
    EXPECT_GT(full, 102400 - 2200);
}

TEST(Log, FailureIsToldOnStandardOutputAndTheConsoleStillServes) {
    const DataHome home;
    DataHome::moveTo(home.write("a file", "") + "/below");  // No folder can be made there.
    const auto written = logged(home, [] { HV_INFO("still here"); });
    EXPECT_THAT(written.console, ContainsRegex("^Log init failed: .*TarsinNDI.*\n.*still here"));
}

}  // namespace
