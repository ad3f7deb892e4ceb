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

std::string outputFile() {
    return testing::TempDir() + "ndimonitor-output-" + std::to_string(::getpid());
}

/// Runs the program to its end, expects that code, gives what it wrote.
std::string monitor(int code, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), TARSIN_MONITOR);
    tests::Process process(arguments, outputFile());
    EXPECT_EQ(process.waitFor(std::chrono::seconds(40)), code) << process.output();
    const std::string output = process.output();
    std::filesystem::remove(outputFile());
    return output;
}

const std::string kMachine = ndi::wire::machineName();

TEST(NdiMonitor, FindsAndReceives) {
    const Source first("first");
    const Source second("second \xC3\xA4");
    const std::string png = testing::TempDir() + "ndimonitor-test.png";

    auto says = monitor(0, {"--list", "--wait", "2"});
    EXPECT_THAT(says, HasSubstr(kMachine + " (first)\t127.0.0.1:59"));
    EXPECT_THAT(says, HasSubstr(kMachine + " (second \xC3\xA4)\t127.0.0.1:59"));

    says = monitor(0, {"FIRST", "--frames", "40", "--stats", "--save", png, "--tally", "program"});
    for (const char* const part :
         {"320x240, 50.00 frames a second, SHQ2", "40 frames in", "0 damaged",
          "Latency against the timestamp: least", "Tally of all receivers: on program"}) {
        EXPECT_THAT(says, HasSubstr(part));
    }
    EXPECT_GT(std::filesystem::file_size(png), 100U);
    std::filesystem::remove(png);

    says = monitor(0, {kMachine + " (second \xC3\xA4)", "--seconds", "1", "--json", "--no-decode",
                       "--save", png});
    EXPECT_THAT(says, HasSubstr("\"end\":\"complete\""));
    EXPECT_THAT(says, HasSubstr("\"saved\":\""));
    EXPECT_TRUE(std::filesystem::remove(png));

    says = monitor(0, {"--all", "--frames", "5", "--wait", "2", "--json", "--save", png});
    EXPECT_THAT(says, HasSubstr("(first)\",\"address\":\"127.0.0.1"));
    EXPECT_THAT(says, HasSubstr("(second \xC3\xA4)\",\"address\":\"127.0.0.1"));
    EXPECT_TRUE(std::filesystem::remove(testing::TempDir() + "ndimonitor-test-1.png"));
    EXPECT_TRUE(std::filesystem::remove(testing::TempDir() + "ndimonitor-test-2.png"));

    says = monitor(4, {"first", "--frames", "1", "--save", "/no/such/folder/x.png"});
    EXPECT_THAT(says, HasSubstr("/no/such/folder/x.png"));
}

TEST(NdiMonitor, SaysWhenNothingComes) {
    EXPECT_THAT(monitor(1, {"nobody", "--wait", "1"}),
                HasSubstr("No source \"nobody\" was found within 1 s."));
    monitor(1, {"--list", "--wait", "1"});
    EXPECT_THAT(monitor(1, {"--address", "127.0.0.1:1"}),
                HasSubstr("connecting to 127.0.0.1:1 failed: Connection refused"));
    monitor(2, {"--nonsense"});
    monitor(0, {"--help"});
    EXPECT_THAT(monitor(0, {"--version"}), HasSubstr("ndimonitor 1."));
}

TEST(NdiMonitor, EndsWithTheSourceAndWithCtrlC) {
    for (const bool interrupted : {false, true}) {
        auto source = std::make_unique<Source>("first");
        tests::Process receiving({TARSIN_MONITOR, "first"}, outputFile());
        ASSERT_TRUE(tests::eventually(
            [&] { return receiving.output().find("320x240") != std::string::npos; },
            std::chrono::seconds(10)));
        if (interrupted) {
            receiving.signal(SIGINT);
            EXPECT_EQ(receiving.waitFor(std::chrono::seconds(5)), 0);
            EXPECT_THAT(receiving.output(), HasSubstr("0 damaged"));
        } else {
            source.reset();
            EXPECT_EQ(receiving.waitFor(std::chrono::seconds(5)), 3);
            EXPECT_THAT(receiving.output(), HasSubstr("closed the connection"));
        }
    }
}

}  // namespace
