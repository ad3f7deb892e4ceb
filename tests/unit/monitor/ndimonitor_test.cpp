// Runs ndimonitor against sources that this test publishes.
#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <vector>

#include "ndi/wire/sourcename.h"
#include "reliability/sending.h"
#include "support/process.h"

namespace {

using reliability::Sender;
using testing::HasSubstr;
using testing::Not;
using tests::Process;

/// Runs the program to its end, expects this exit code, returns its output.
std::string monitor(int code, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), TARSIN_MONITOR);
    Process process(arguments);
    EXPECT_EQ(process.waitFor(std::chrono::seconds(60)), code) << process.output();
    return process.output();
}

const std::string kMachine = ndi::wire::machineName();

TEST(NdiMonitor, FindsAndReceives) {
    const Sender first("first", 320, 240, 50);
    const Sender second("second \xC3\xA4", 320, 240, 50);
    const std::string png = testing::TempDir() + "ndimonitor-test.png";

    auto output = monitor(0, {"--list", "--wait", "2"});
    EXPECT_THAT(output, HasSubstr(kMachine + " (first)\t127.0.0.1:59"));
    EXPECT_THAT(output, HasSubstr(kMachine + " (second \xC3\xA4)\t127.0.0.1:59"));

    output =
        monitor(0, {"FIRST", "--frames", "40", "--stats", "--save", png, "--tally", "program"});
    for (const char* const part :
         {"320x240, 50.00 fps, SHQ2", "40 frames in", " fps of 50.00 announced", "0 damaged",
          "Latency against the timestamp: minimum", "Tally of all receivers: on program"}) {
        EXPECT_THAT(output, HasSubstr(part));
    }
    EXPECT_GT(std::filesystem::file_size(png), 100U);
    std::filesystem::remove(png);

    output = monitor(0, {kMachine + " (second \xC3\xA4)", "--seconds", "1", "--json", "--no-decode",
                         "--save", png});
    EXPECT_THAT(output, HasSubstr("\"end\":\"complete\""));
    EXPECT_THAT(output, HasSubstr("\"saved\":\""));
    EXPECT_TRUE(std::filesystem::remove(png));

    output = monitor(0, {"--all", "--frames", "5", "--wait", "2", "--json", "--save", png});
    EXPECT_THAT(output, HasSubstr("(first)\",\"address\":\"127.0.0.1"));
    EXPECT_THAT(output, HasSubstr("(second \xC3\xA4)\",\"address\":\"127.0.0.1"));
    EXPECT_TRUE(std::filesystem::remove(testing::TempDir() + "ndimonitor-test-1.png"));
    EXPECT_TRUE(std::filesystem::remove(testing::TempDir() + "ndimonitor-test-2.png"));

    output = monitor(4, {"first", "--frames", "1", "--save", "/no/such/folder/x.png"});
    EXPECT_THAT(output, HasSubstr("writing /no/such/folder/x.png failed"));
    EXPECT_THAT(output, Not(HasSubstr("fps")));  // It did not connect.
}

TEST(NdiMonitor, ReportsWhenNothingArrives) {
    EXPECT_THAT(monitor(1, {"absent", "--wait", "1"}),
                HasSubstr("No source \"absent\" was found within 1 s."));
    monitor(1, {"--list", "--wait", "1"});
    EXPECT_THAT(monitor(1, {"--address", "127.0.0.1:1"}),
                HasSubstr("connecting to 127.0.0.1:1 failed: Connection refused"));
    monitor(2, {"--nonsense"});
    monitor(0, {"--help"});
    EXPECT_THAT(monitor(0, {"--version"}), HasSubstr("ndimonitor 1."));
}

TEST(NdiMonitor, FollowsSources) {
    Process watching({TARSIN_MONITOR, "--list", "--watch"});
    {
        const Sender source("first", 320, 240, 50);
        EXPECT_TRUE(watching.says("appeared\t" + kMachine + " (first)\t127.0.0.1:59"));
        // A terminal shows a table, in its width.
        const Process terminal({"script", "--quiet", "--command",
                                "stty cols 70; TERM=xterm exec " TARSIN_MONITOR
                                " --all --wait 1 --seconds 3",
                                "/dev/null"});
        EXPECT_TRUE(terminal.says("Size      fps      Mbit/s    Dropped"));
        EXPECT_TRUE(terminal.says("320x240    ")) << terminal.output();
    }
    EXPECT_TRUE(watching.says("disappeared\t" + kMachine + " (first)")) << watching.output();
    watching.signal(SIGINT);
    EXPECT_EQ(watching.waitFor(std::chrono::seconds(20)), 0);
}

TEST(NdiMonitor, EndsWithTheSourceAndWithCtrlC) {
    for (const bool interrupted : {false, true}) {
        auto source = std::make_unique<Sender>("first", 320, 240, 50);
        Process receiving({TARSIN_MONITOR, "first"});
        ASSERT_TRUE(receiving.says("320x240"));
        if (interrupted) {
            receiving.signal(SIGINT);
        } else {
            source.reset();
        }
        EXPECT_EQ(receiving.waitFor(std::chrono::seconds(20)), interrupted ? 0 : 3);
        EXPECT_THAT(receiving.output(),
                    HasSubstr(interrupted ? "0 damaged" : "closed the connection"));
    }
}

}  // namespace
