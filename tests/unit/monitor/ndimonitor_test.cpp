// The program as a user starts it, against sources that this test publishes.
#include <gmock/gmock.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <thread>
#include <vector>

#include "ndi/ndilib.h"
#include "ndi/wire/sourcename.h"
#include "support/process.h"

namespace {

using testing::HasSubstr;

/// A source of 320x240 at 50 frames a second, grey, until destroyed.
class Source {
public:
    explicit Source(const char* name) {
        EXPECT_TRUE(NDIlib_initialize());
        const NDIlib_send_create_t settings{name, nullptr, true, false};
        m_instance = NDIlib_send_create(&settings);
        EXPECT_NE(m_instance, nullptr);
        m_thread = std::thread([this] { send(); });
    }
    ~Source() {
        m_stop = true;
        m_thread.join();
        NDIlib_send_destroy(m_instance);
    }

private:
    void send() {
        std::vector<std::uint8_t> pixels(320 * 240 * 4, 128);
        NDIlib_video_frame_v2_t frame{};
        frame.xres = 320;
        frame.yres = 240;
        frame.FourCC = NDIlib_FourCC_type_BGRA;
        frame.frame_rate_N = 50;
        frame.frame_rate_D = 1;
        frame.frame_format_type = NDIlib_frame_format_type_progressive;
        frame.timecode = NDIlib_send_timecode_synthesize;
        frame.p_data = pixels.data();
        while (!m_stop) {
            ++pixels[0];
            NDIlib_send_send_video_v2(m_instance, &frame);
        }
    }

    NDIlib_send_instance_t m_instance = nullptr;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

struct Run {
    int code = -1;
    std::string output;
};

std::string outputFile() {
    return testing::TempDir() + "ndimonitor-output-" + std::to_string(::getpid());
}

Run monitor(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), TARSIN_MONITOR);
    tests::Process process(arguments, outputFile());
    Run run;
    run.code = process.waitFor(std::chrono::seconds(40)).value_or(-1);
    run.output = process.output();
    std::filesystem::remove(outputFile());
    return run;
}

const std::string kMachine = ndi::wire::machineName();

TEST(NdiMonitor, FindsAndReceives) {
    const Source first("first");
    const Source second("second \xC3\xA4");
    const std::string png = testing::TempDir() + "ndimonitor-test.png";

    auto run = monitor({"--list", "--wait", "2"});
    EXPECT_EQ(run.code, 0);
    EXPECT_THAT(run.output, HasSubstr(kMachine + " (first)\t127.0.0.1:59"));
    EXPECT_THAT(run.output, HasSubstr(kMachine + " (second \xC3\xA4)\t127.0.0.1:59"));

    run = monitor({"FIRST", "--frames", "40", "--stats", "--save", png, "--tally", "program"});
    EXPECT_EQ(run.code, 0) << run.output;
    EXPECT_THAT(run.output, HasSubstr("320x240, 50.00 frames a second, SHQ2"));
    EXPECT_THAT(run.output, HasSubstr("40 frames in"));
    EXPECT_THAT(run.output, HasSubstr("0 damaged"));
    EXPECT_THAT(run.output, HasSubstr("Latency against the timestamp: least"));
    EXPECT_THAT(run.output, HasSubstr("Tally of all receivers: on program"));
    EXPECT_GT(std::filesystem::file_size(png), 100U);
    std::filesystem::remove(png);

    run = monitor({kMachine + " (second \xC3\xA4)", "--seconds", "1", "--json", "--no-decode",
                   "--save", png});
    EXPECT_EQ(run.code, 0) << run.output;
    EXPECT_THAT(run.output, HasSubstr("\"end\":\"complete\""));
    EXPECT_THAT(run.output, HasSubstr("\"saved\":\""));
    EXPECT_TRUE(std::filesystem::remove(png));

    run = monitor({"--all", "--frames", "5", "--wait", "2", "--json", "--save", png});
    EXPECT_EQ(run.code, 0) << run.output;
    EXPECT_THAT(run.output, HasSubstr("(first)\",\"address\":\"127.0.0.1"));
    EXPECT_THAT(run.output, HasSubstr("(second \xC3\xA4)\",\"address\":\"127.0.0.1"));
    EXPECT_TRUE(std::filesystem::remove(testing::TempDir() + "ndimonitor-test-1.png"));
    EXPECT_TRUE(std::filesystem::remove(testing::TempDir() + "ndimonitor-test-2.png"));

    run = monitor({"first", "--frames", "1", "--save", "/no/such/folder/x.png"});
    EXPECT_EQ(run.code, 4);
    EXPECT_THAT(run.output, HasSubstr("/no/such/folder/x.png"));
}

TEST(NdiMonitor, SaysWhenNothingComes) {
    auto run = monitor({"nobody", "--wait", "1"});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(run.output, HasSubstr("No source \"nobody\" was found within 1 s."));
    run = monitor({"--list", "--wait", "1"});
    EXPECT_EQ(run.code, 1);
    run = monitor({"--address", "127.0.0.1:1"});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(run.output, HasSubstr("connecting to 127.0.0.1:1 failed: Connection refused"));
    run = monitor({"--nonsense"});
    EXPECT_EQ(run.code, 2);
    EXPECT_EQ(monitor({"--help"}).code, 0);
    EXPECT_THAT(monitor({"--version"}).output, HasSubstr("ndimonitor 1."));
}

TEST(NdiMonitor, EndsWithTheSourceAndWithCtrlC) {
    auto source = std::make_unique<Source>("first");
    tests::Process receiving({TARSIN_MONITOR, "first"}, outputFile());
    const auto connected = [&] { return receiving.output().find("320x240") != std::string::npos; };
    ASSERT_TRUE(tests::eventually(connected, std::chrono::seconds(10)));
    source.reset();
    EXPECT_EQ(receiving.waitFor(std::chrono::seconds(5)), 3);
    EXPECT_THAT(receiving.output(), HasSubstr("closed the connection"));

    const Source again("again");
    tests::Process interrupted({TARSIN_MONITOR, "again"}, outputFile());
    ASSERT_TRUE(
        tests::eventually([&] { return interrupted.output().find("320x240") != std::string::npos; },
                          std::chrono::seconds(10)));
    interrupted.signal(SIGINT);
    EXPECT_EQ(interrupted.waitFor(std::chrono::seconds(5)), 0);
    EXPECT_THAT(interrupted.output(), HasSubstr("0 damaged"));
}

}  // namespace
