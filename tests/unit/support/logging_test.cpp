#include "support/logging.h"

#include <gmock/gmock.h>

#include <QFileInfo>
#include <QRegularExpression>
#include <algorithm>
#include <fstream>
#include <vector>

#include "support/hv/sharedrotatingsink.h"
#include "support/log.h"
#include "unit/support/datahome.h"

using testing::ContainsRegex;
using testing::HasSubstr;

namespace {

/// GoogleTest's own regular expressions are too simple on Windows.
MATCHER_P(Matches, pattern, "") {
    const auto text = [](const std::string& local) { return QString::fromStdString(local); };
    const QRegularExpression whole(QRegularExpression::anchoredPattern(text(pattern)));
    return whole.match(text(arg)).hasMatch();
}

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

TEST(Log, LinesHavePatternPlaceAndPaddedLevelAndKeepBraces) {
    const DataHome home;
    const QString text = QString::fromUtf8("grün {} %1 {:");
    int line = 0;
    const auto written = logged(home, [&] {
        line = __LINE__ + 1;
        HV_INFO("{} is {}", "a {} b", 7);
        for (const QtMsgType type :
             {QtDebugMsg, QtInfoMsg, QtWarningMsg, QtCriticalMsg, QtFatalMsg}) {
            qtMessageHandler(type, {}, text);
        }
        qWarning("%s", qUtf8Printable(text));
    });
    const std::string time = "[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} \\[[0-9]+\\] ";
    const auto first =
        "\\[INFO \\] \\[TarsinNDI\\] a \\{\\} b is 7 \n "
        "//logging_test:operator\\(\\)\\(\\)#" +
        std::to_string(line) + "\\.\n";
    std::string rest;
    for (const char* level : {"DEBUG", "INFO ", "WARN ", "ERROR", "FATAL", "WARN "}) {
        rest += std::string(".*\\[") + level + "\\] \\[TarsinNDI\\] " + "grün \\{\\} %1 \\{:\n";
    }
    EXPECT_THAT(written.file, Matches("[0-9]{4}-[0-9]{2}-[0-9]{2} " + time + first + rest));
    EXPECT_THAT(written.console, Matches(time + first + rest));
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
    home.write("Halvark", "");  // No folder can be made there.
    const auto written = logged(home, [] { HV_INFO("still here"); });
    EXPECT_THAT(written.console, ContainsRegex("^Log init failed: .*TarsinNDI.*\n"));
    EXPECT_THAT(written.console, HasSubstr("still here"));
}

class SharedLog : public testing::Test {
protected:
    static constexpr std::size_t kFileSize = 1000;

    SharedLog() { QDir().mkpath(m_home.path("日志")); }

    [[nodiscard]] std::unique_ptr<HV::SharedRotatingSink> open(std::size_t olderFiles) const {
        auto sink = std::make_unique<HV::SharedRotatingSink>(m_path, kFileSize, olderFiles);
        sink->set_pattern("%v");
        return sink;
    }
    void write(spdlog::sinks::sink& sink) {
        const auto text = fmt::format("{:050}", ++m_written);
        sink.log(spdlog::details::log_msg("", spdlog::level::info, text));
        sink.flush();
    }
    /// Each line once, in whatever file.
    void expectAllLines() const {
        const QDir folder(m_home.path("日志"));
        QByteArrayList lines;
        for (const QString& file : folder.entryList(QDir::Files)) {
            lines += DataHome::read(folder.filePath(file)).trimmed().split('\n');
        }
        std::sort(lines.begin(), lines.end());
        ASSERT_EQ(lines.size(), m_written);
        for (int i = 0; i < m_written; ++i) {
            EXPECT_EQ(lines[i].toInt(), i + 1);
        }
    }

    const DataHome m_home;
    const std::filesystem::path m_path =
        std::filesystem::u8path(m_home.path("日志/log.txt").toStdString());
    int m_written = 0;
};

TEST_F(SharedLog, IsMovedOnWhileAnotherOneWritesToIt) {
    const auto first = open(9);
    const auto second = open(9);
    for (int i = 0; i < 60; ++i) {
        write(*first);
        write(*second);
    }
    expectAllLines();
    EXPECT_TRUE(QFile::exists(m_home.path("日志/log.4.txt")));
    EXPECT_LE(QFileInfo(m_home.path("日志/log.txt")).size(), 1000 + 100);
}

TEST_F(SharedLog, LosesNothingWhileAReaderKeepsItFromBeingMoved) {
    const auto sink = open(3);
    const auto writeLines = [&](int lines) {
        for (int i = 0; i < lines; ++i) {
            write(*sink);
        }
    };
    constexpr int kLinesPerFile = 19;
    writeLines(3 * kLinesPerFile);
    {
        const std::ifstream reader(m_path);  // Windows moves no file that is open this way.
        ASSERT_TRUE(reader.is_open());
        writeLines(kLinesPerFile - 1);
    }
    writeLines(1);
    expectAllLines();
}

}  // namespace
