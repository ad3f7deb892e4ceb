// The sender with a capturer and a clock that the test holds in its hand.

#include "sender/ndidxsender.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <map>

#include "support/logcapture.h"
#include "support/recordingndi.h"

namespace {

/// What the capturer is asked, and what it answers.
struct Script {
    bool initResult = true;
    bool drawsPointer = false;
    std::vector<std::wstring> deviceNames;
    std::vector<std::vector<int>> rectangles;
    std::function<bool(unsigned char*)> read = [](unsigned char*) { return true; };
    std::function<void()> interrupt = [] {};
    CaptureFailure failure;
};

class FakeCapturer : public ScreenCapturer {
public:
    explicit FakeCapturer(Script& script) : m_script(script) {}

    bool InitCapture(const wchar_t* deviceName) override {
        m_script.deviceNames.emplace_back(deviceName);
        return m_script.initResult;
    }
    bool ReadScreenData(int x, int y, int width, int height, unsigned char* dest) override {
        m_script.rectangles.push_back({x, y, width, height});
        m_dirtyRows.known = true;
        m_dirtyRows.spans = {{static_cast<int>(m_script.rectangles.size()), 1}};
        return m_script.read(dest);
    }
    void DrawPointer(bool draw) override { m_script.drawsPointer = draw; }
    void Interrupt() override { m_script.interrupt(); }
    [[nodiscard]] const CaptureFailure& Failure() const override { return m_script.failure; }
    void ReleaseAll() override {}
    [[nodiscard]] const support::DirtyRows& DirtyRows() const override { return m_dirtyRows; }

private:
    Script& m_script;
    support::DirtyRows m_dirtyRows;
};

/// A sender whose time only passes when it sleeps or sends.
class DxSender : public ::testing::Test {
protected:
    void SetUp() override {
        recording::begin([this](const recording::Sent& sent) {
            nowUs += sendUs;
            frames.push_back(sent);
            happened("send ");
        });
    }

    void happened(const std::string& what) {
        if (left > 0) {
            events += what;
            --left;
        }
    }

    /// Has the sender run until `count` things (sleeps or frames) have happened. It may go a
    /// little further before it is paused; that is not told.
    std::string run(int count) {
        events.clear();
        left = count;
        sender.start();
        while (left > 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        sender.pause();
        return events;
    }

    static inline const auto kInstance = reinterpret_cast<NDIlib_send_instance_t>(0x1234);
    Script script;
    std::int64_t nowUs = 10'000'000;
    std::int64_t sendUs = 0;
    std::vector<recording::Sent> frames;
    std::string events;
    std::atomic<int> left = 0;
    NdiDxSender sender{
        "name", kInstance, std::make_unique<FakeCapturer>(script),
        NdiDxSender::Timing{[this] { return nowUs / 1000; }, [this] { return nowUs; },
                            [this](std::int64_t duration) {
                                nowUs += duration * 1000;
                                happened("sleep" + std::to_string(duration) + " ");
                            }}};
};

TEST_F(DxSender, KeepsThePaceOfEveryRate) {
    const struct {
        int rate, sendUs, readsPerFrame, count;
        const char* events;
    } kCases[] = {
        {30, 0, 1, 6, "send send sleep33 send send sleep33 "},
        {30, 10'000, 1, 5, "send send sleep23 send send "},  // The send counts, too.
        {0, 0, 1, 4, "send send send send "},
        {1001, 0, 1, 4, "send send send send "},
        {0, 0, 3, 6, "sleep2 sleep2 send sleep2 sleep2 send "},
    };
    for (const auto& c : kCases) {
        int reads = 0;
        script.read = [&](unsigned char*) { return ++reads % c.readsPerFrame == 0; };
        sendUs = c.sendUs;
        ASSERT_TRUE(sender.initParmeter(0, 0, 4, 2, c.rate, "out"));
        EXPECT_EQ(run(c.count), c.events) << c.rate;
    }
}

TEST_F(DxSender, DoesWhatItsOptionsSay) {
    const tests::LogCapture log;
    using Keys = std::map<std::string, std::string>;
    const auto read = [](const Keys& keys) {
        return sender::readSenderOptions([&keys](const char* key) {
            const auto found = keys.find(key);
            return found != keys.end() ? found->second : std::string();
        });
    };
    const struct {
        const char* exact;
        int chosen, numerator, denominator;
        const char* events;
    } kCases[] = {
        {"1", 60, 60, 1, "send send send "},           {"1", 1, 1, 1, "send send send "},
        {"ntsc", 24, 24000, 1001, "send send send "},  {"ntsc", 60, 60000, 1001, "send send send "},
        {"ntsc", 120, 120, 1, "send send send "},      {"0", 20, 30000, 1001, "send send sleep50 "},
        {"1", 121, 30000, 1001, "send send sleep8 "},  {"1", 0, 30000, 1001, "send send send "},
        {"60", 20, 30000, 1001, "send send sleep50 "},
    };
    for (const auto& c : kCases) {
        sender.setOptions(read({{"exactFrameRate", c.exact}}));
        ASSERT_TRUE(sender.initParmeter(0, 0, 4, 2, c.chosen, "out"));
        frames.clear();
        EXPECT_EQ(run(3), c.events) << c.exact << " " << c.chosen;
        EXPECT_EQ(frames[0].frame.frame_rate_N, c.numerator);
        EXPECT_EQ(frames[0].frame.frame_rate_D, c.denominator);
    }
    for (const auto& [text, draws] : {std::pair("1", true), {"0", false}, {"yes", false}}) {
        sender.setOptions(read({{"drawPointer", text}}));
        ASSERT_TRUE(sender.initParmeter(0, 0, 4, 2, 20, "out"));
        EXPECT_EQ(script.drawsPointer, draws);
    }
    EXPECT_EQ(log.count("drawPointer is \"yes\", expected is 0 or 1; using 0"), 1);
    EXPECT_EQ(log.count("fps can't be kept exactly, only 1 to 120 fps can"), 2);
    EXPECT_EQ(log.count("exactFrameRate is \"60\", expected is 0, 1 or ntsc; using 0"), 1);
}

TEST_F(DxSender, SendsWhatWasReadWithItsChangedRows) {
    sender.start();
    sender.stop();
    EXPECT_TRUE(script.rectangles.empty()) << "not opened yet";
    script.read = [](unsigned char* dest) {
        dest[5] = 77;
        return true;
    };
    ASSERT_TRUE(sender.initParmeter(-3, 5, 4, 2, 0, "out"));
    run(3);
    EXPECT_EQ(script.rectangles[0], (std::vector<int>{-3, 5, 4, 2}));
    const auto& frame = frames[0].frame;
    EXPECT_EQ(frames[0].instance, kInstance);
    EXPECT_EQ(frame.FourCC, NDIlib_FourCC_type_BGRA);
    EXPECT_EQ(frame.frame_rate_N, 30000);
    EXPECT_EQ(frame.frame_rate_D, 1001);
    EXPECT_EQ(frame.frame_format_type, NDIlib_frame_format_type_progressive);
    EXPECT_EQ(frame.timecode, NDIlib_send_timecode_synthesize);
    EXPECT_EQ(frame.line_stride_in_bytes, 0);
    EXPECT_EQ(frames[0].pixels[5], 77);
    EXPECT_EQ(frames[0].pixels[7], 255) << "opaque where nothing was read";
    EXPECT_FALSE(frames[0].hint.known) << "nobody knows what was sent before";
    ASSERT_TRUE(frames[1].hint.known);
    EXPECT_EQ(frames[1].hint.spans.at(0).first, 2);
    EXPECT_EQ(frames[2].hint.spans.at(0).first, 3);

    const auto before = frames.size();
    run(2);
    EXPECT_FALSE(frames[before].hint.known) << "a new run";
    EXPECT_TRUE(frames[before + 1].hint.known);
}

TEST_F(DxSender, APauseEndsAReadThatWaits) {
    std::promise<void> interrupted;
    script.interrupt = [&] { interrupted.set_value(); };
    script.read = [&, waiting = interrupted.get_future().share()](unsigned char*) {
        happened("wait ");
        waiting.wait();
        return false;
    };
    ASSERT_TRUE(sender.initParmeter(0, 0, 4, 2, 0, "out"));
    EXPECT_EQ(run(1), "wait ");
    script.interrupt = [] {};
}

TEST_F(DxSender, RetriesAFailingCaptureAndTellsTheOperator) {
    std::vector<std::int64_t> reads;
    std::vector<std::string> told;
    const std::int64_t begin = nowUs;
    const auto since = [&] { return (nowUs - begin) / 1000; };
    script.read = [&](unsigned char*) {
        reads.push_back(since());
        if (since() < 7000 && (since() % 1000 >= 750 || since() == 0)) {
            told.push_back(sender.captureStatus().reason);
        }
        script.failure.reason = since() < 7000 ? "it is locked" : "";
        script.failure.needsInit = since() >= 3000 && since() < 7000;
        return since() >= 7000;
    };
    ASSERT_TRUE(sender.initParmeter(0, 0, 4, 2, 30, "out"));
    run(800);
    EXPECT_EQ(sender.captureStatus().reason, "");
    const auto attempts = [&](std::int64_t from, std::int64_t to) {
        return std::count_if(reads.begin(), reads.end(),
                             [&](std::int64_t at) { return at >= from && at < to; });
    };
    EXPECT_GT(attempts(0, 1000), 300);
    EXPECT_LE(attempts(1000, 7000), 6 * 4);
    EXPECT_EQ(told.front(), "");
    EXPECT_EQ(told.back(), "it is locked");
    // Once by initParmeter(), then for four seconds.
    EXPECT_LE(script.deviceNames.size(), 1U + 4 * 4);
    EXPECT_GE(script.deviceNames.size(), 1U + 4 * 3);
    EXPECT_EQ(script.deviceNames.back(), L"out");
}

TEST_F(DxSender, StartsOnADesktopThatIsAwayAndInitialisesNowAndThenUntilItIsBack) {
    script.initResult = false;
    script.failure = {"it is locked", false, true};
    const std::int64_t begin = nowUs;
    script.read = [&](unsigned char*) {
        if (nowUs - begin >= 21'000'000) {
            script.failure = {};
        }
        return script.failure.reason.empty();
    };
    ASSERT_TRUE(sender.initParmeter(0, 0, 4, 2, 30, "out"));
    EXPECT_EQ(sender.captureStatus().reason, "it is locked");
    while (frames.empty()) {
        run(100);
    }
    EXPECT_EQ(script.deviceNames.size(), 1U + 4);
}

TEST_F(DxSender, InitialisesAgainAtOnceWhenTheScreenHasChanged) {
    script.read = [&](unsigned char* dest) {
        const std::size_t inits = script.deviceNames.size();
        if (inits == 1 && frames.size() == 1) {
            script.failure = {"another mode", true};
            return false;
        }
        script.failure = {};
        dest[4] = static_cast<unsigned char>(dest[4] + 1);
        return true;
    };
    ASSERT_TRUE(sender.initParmeter(0, 0, 4, 2, 0, "out"));
    EXPECT_EQ(run(3), "send sleep2 send ");
    EXPECT_EQ(script.deviceNames.size(), 2U);
    EXPECT_EQ(frames[1].pixels[4], 1) << "black where the new screen does not reach";
    script.initResult = false;
    script.failure.reason = "no duplication";
    EXPECT_FALSE(sender.initParmeter(0, 0, 4, 2, 0, "out"));
    EXPECT_EQ(sender.captureStatus().reason, "no duplication") << "at once";
}

TEST_F(DxSender, LogsRatesAndDurations) {
    sendUs = 20'000;
    tests::LogCapture log;
    ASSERT_TRUE(sender.initParmeter(1, 2, 4, 2, 0, "out"));
    run(520);
    for (const char* const line :
         {"[info] initParmeter x 1 y 2 w 4 h 2 framerate 0 outputName out",
          "[debug] frame Rate is 51, frameRateFrequencyMax is 5, frameRateCount is 256",
          "[debug] timeconsuming is 20000, logMax is 100, timeconsumingSum is 2000000"}) {
        EXPECT_GE(log.count(line), 1) << line << log.text();
    }
}

TEST_F(DxSender, RefusesBadParametersAndKeepsTheLastGoodOnes) {
    ASSERT_TRUE(sender.initParmeter(1, 1, 4, 2, 0, std::string(199, 'n')));
    EXPECT_EQ(script.deviceNames.back().size(), 199U);
    ASSERT_TRUE(sender.initParmeter(1, 1, 4, 2, 0, std::string(200, 'n')));
    EXPECT_EQ(script.deviceNames.back(), L"") << "too long";
    EXPECT_FALSE(sender.initParmeter(9, 9, 0, 5, 0, "out"));
    EXPECT_FALSE(sender.initParmeter(9, 9, 40000, 40000, 0, "out"));
    script.initResult = false;
    EXPECT_FALSE(sender.initParmeter(9, 9, 9, 9, 0, "out"));
    run(1);
    EXPECT_EQ(frames[0].frame.xres, 4);
    EXPECT_EQ(script.rectangles[0], (std::vector<int>{1, 1, 4, 2}));
}

}  // namespace
