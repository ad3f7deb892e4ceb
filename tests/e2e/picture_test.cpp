// What a receiver shows is what the screen shows.

#include <gtest/gtest.h>

#include "programrun.h"
#include "support/picturecompare.h"
#include "testpattern.h"

namespace e2e {
namespace {

class StillPicture : public testing::TestWithParam<bool> {};

TEST_P(StillPicture, ArrivesAsItIs) {
    Settings settings;
    settings.forceUseOldCapture = GetParam();
    QTemporaryDir folder;
    const auto picture = showTestPicture(0, folder.filePath("picture.out").toStdString());
    ProgramRun program(settings);
    program.click(control::kStart);

    const std::string file = program.path("received.png");
    const auto monitor =
        startMonitor({"E2E", "--seconds", "5", "--save", file}, program.path("monitor.out"));
    ASSERT_EQ(monitor->waitFor(std::chrono::seconds(30)), 0)
        << monitor->output() << program.log().toStdString();

    const QImage screen = grabScreen();
    const QImage received(QString::fromStdString(file));
    ASSERT_EQ(received.size(), screen.size());
    EXPECT_GE(tests::lumaPsnr(received, screen), 38.0);
    for (int bar = 0; bar < testpattern::kBars; ++bar) {
        const QRect inside = testpattern::barRect(screen.size(), bar).adjusted(16, 0, -16, -16);
        EXPECT_LE(tests::largestDifference(received, screen, inside), 4) << "colour bar " << bar;
    }
    EXPECT_EQ(program.log().contains("captureFrame begin"), GetParam())
        << "the other capture path served";
}

INSTANTIATE_TEST_SUITE_P(CapturePaths, StillPicture, testing::Values(false, true),
                         [](const auto& path) { return path.param ? "FFmpeg" : "Default"; });

}  // namespace
}  // namespace e2e
