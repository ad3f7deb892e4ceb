// What an operator does with the window, seen from the network.

#include <gtest/gtest.h>

#include <QRegularExpression>

#include "programrun.h"
#include "support/picturecompare.h"

namespace e2e {
namespace {

using namespace std::chrono_literals;

class Operator : public testing::Test {
protected:
    /// The last of the pictures that a receiver gets from the source of that name.
    QImage receive(const ProgramRun& program, const std::string& name) {
        const std::string file = program.path("received.png");
        const auto monitor =
            startMonitor({name, "--seconds", "3", "--save", file}, program.path("monitor.out"));
        EXPECT_EQ(monitor->waitFor(30s), 0) << monitor->output() << program.log().toStdString();
        return QImage(QString::fromStdString(file));
    }

    static std::string list(const ProgramRun& program) {
        const auto monitor = startMonitor({"--list", "--wait", "2"}, program.path("list.out"));
        monitor->waitFor(20s);
        return monitor->output();
    }

    QTemporaryDir m_folder;
    std::unique_ptr<tests::Process> m_picture =
        showTestPicture(0, m_folder.filePath("picture.out").toStdString());
};

TEST_F(Operator, DrawsARegionOnTheDesktop) {
    ProgramRun program;
    program.click(control::kStart);
    program.click(control::kSelectRegion);
    const QRect region(64, 500, 320, 128);
    tests::sleepFor(500ms);
    drag(region.topLeft(), region.bottomRight() + QPoint(1, 1));
    tests::sleepFor(300ms);
    clickAt(region.bottomRight() - QPoint(32, 19));  // the confirm button
    const QImage received = receive(program, "E2E");
    ASSERT_EQ(received.size(), region.size());
    EXPECT_GE(tests::lumaPsnr(received, grabScreen().copy(region)), 38.0);

    program.click(control::kReset);
    program.click(control::kStart);
    EXPECT_EQ(receive(program, "E2E").size(), grabScreen().size())
        << "reset gives the whole screen";
}

TEST_F(Operator, ChoosesTheSecondScreenAndTypesARegion) {
    // Two monitors side by side on the one screen, until the end of this test.
    tests::runToEnd({"xrandr", "--setmonitor", "left", "640/160x720/190+0+0", "screen"});
    tests::runToEnd({"xrandr", "--setmonitor", "right", "640/160x720/190+640+0", "none"});
    {
        ProgramRun program;
        program.click(control::kScreen);
        tests::runToEnd({"xdotool", "key", "Down", "Return"});
        program.click(control::kStart);
        const QImage screen = receive(program, "E2E");
        ASSERT_EQ(screen.size(), QSize(640, 720));
        EXPECT_GE(tests::lumaPsnr(screen, grabScreen().copy(640, 0, 640, 720)), 38.0);

        program.type(control::kX, "704");
        program.type(control::kY, "500");
        program.type(control::kWidth, "320");
        program.type(control::kHeight, "200");
        const QImage region = receive(program, "E2E");
        ASSERT_EQ(region.size(), QSize(320, 200));
        EXPECT_GE(tests::lumaPsnr(region, grabScreen().copy(704, 500, 320, 200)), 38.0);
    }
    tests::runToEnd({"xrandr", "--delmonitor", "right"});
    tests::runToEnd({"xrandr", "--delmonitor", "left"});
}

TEST_F(Operator, DragsTheFrameOfTheRegion) {
    ProgramRun program;
    program.click(control::kStart);
    program.type(control::kX, "64");
    program.type(control::kY, "500");
    program.type(control::kWidth, "320");
    program.type(control::kHeight, "128");
    program.click(control::kShowRegion);
    tests::sleepFor(500ms);
    drag({66, 560}, {98, 592});  // by the strip that stands around the region
    tests::sleepFor(500ms);
    program.click(control::kShowRegion);
    tests::sleepFor(500ms);
    const QImage received = receive(program, "E2E");
    ASSERT_EQ(received.size(), QSize(320, 128));
    EXPECT_GE(tests::lumaPsnr(received, grabScreen().copy(96, 532, 320, 128)), 38.0);
}

TEST_F(Operator, RenamesTheSource) {
    ProgramRun program;
    program.click(control::kStart);
    program.type(control::kName, "Studio B");
    EXPECT_NE(list(program).find("(E2E)"), std::string::npos) << "the name waits for the reset";
    program.click(control::kReset);
    const std::string sources = list(program);
    EXPECT_NE(sources.find("(Studio B)"), std::string::npos) << sources;
    EXPECT_EQ(sources.find("(E2E)"), std::string::npos) << sources;
    program.click(control::kStart);
    EXPECT_EQ(receive(program, "Studio B").size(), grabScreen().size());
}

TEST_F(Operator, StartsASecondProgramUnderTheSameName) {
    ProgramRun first;
    ProgramRun second;
    const std::string sources = list(first);
    EXPECT_NE(sources.find("(E2E)"), std::string::npos) << sources;
    EXPECT_NE(sources.find("(E2E1)"), std::string::npos) << sources;
}

TEST_F(Operator, ClosesTheWindowWhileSending) {
    ProgramRun program;
    program.click(control::kStart);
    EXPECT_FALSE(receive(program, "E2E").isNull());
    program.click(control::kClose);
    EXPECT_EQ(program.process().waitFor(10s), 0);

    const QStringList lines = program.log().split('\n');
    const int banner =
        lines.indexOf(QRegularExpression("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} "
                                         "\\[\\d+\\] \\[INFO \\] \\[TarsinNDI\\] "
                                         "#{52} $"));
    ASSERT_GE(banner, 0) << program.log().toStdString();
    EXPECT_EQ(lines.value(banner + 1), " //main:stopCallback()#19.");
    EXPECT_TRUE(
        lines.value(banner + 2).endsWith("#                    STOP                         # "));
    EXPECT_EQ(lines.value(banner + 3), " //main:stopCallback()#20.");
    EXPECT_EQ(lines.value(banner + 5), " //main:stopCallback()#21.");
    EXPECT_EQ(lines.value(banner + 6), "") << "the banner is the last thing in the log";
    EXPECT_EQ(list(program).find("(E2E)"), std::string::npos) << "the source said goodbye";
}

}  // namespace
}  // namespace e2e
