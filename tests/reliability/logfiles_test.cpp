// The log of several programs that run at a time.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <thread>
#include <vector>

#include "support/log.h"
#include "support/logging.h"
#include "unit/support/datahome.h"

namespace {

/// Two programs at a time write to one file, and either of them rotates it.
void writeTogether() {
    const DataHome home;
    constexpr int kPrograms = 3;
    constexpr int kLines = 600;
    std::vector<pid_t> programs;
    for (int program = 0; program < kPrograms; ++program) {
        programs.push_back(::fork());
        if (programs.back() == 0) {
            std::freopen("/dev/null", "w", stdout);
            initLogger();
            for (int i = 0; i < kLines; ++i) {
                HV_INFO("program {} line {} {}", program, i, std::string(300, 'x'));
                std::this_thread::sleep_for(std::chrono::microseconds(200));
            }
            HV::SpdlogApplication::instance().shutdownLogger();
            ::_exit(0);
        }
    }
    for (const pid_t program : programs) {
        int status = -1;
        EXPECT_EQ(::waitpid(program, &status, 0), program);
        EXPECT_EQ(status, 0);
    }
    const QDir folder(home.path("Halvark/TarsinNDI/log"));
    QByteArray all;
    for (const QString& file : folder.entryList(QDir::Files)) {
        all += DataHome::read(folder.filePath(file));
    }
    EXPECT_EQ(all.count(QByteArray(300, 'x') + " \n"), kPrograms * kLines);
}

/// They collide in one of twenty tries, where nothing prevents that.
TEST(LogFiles, SeveralProgramsLoseNoLineToEachOther) {
    for (int round = 0; round < 20 && !testing::Test::HasFailure(); ++round) {
        writeTogether();
    }
}

}  // namespace
