// The sender with a capturer and a clock that the test holds in its hand.

#include <gtest/gtest.h>

#include <condition_variable>

#include "dx_recordingndi.h"
#include "sender/ndidxsender.h"
#include "support/logcapture.h"

namespace {

using tests::SentPicture;

/// Answers as it is told, and says so when it is called without the sender's care.
class FakeCapturer : public ScreenCapturer {
public:
    struct Script {
        bool initResult = true;
        std::vector<std::wstring> deviceNames;
        std::vector<std::vector<int>> rectangles;
        std::function<bool(unsigned char*)> read = [](unsigned char*) { return true; };
    };

    explicit FakeCapturer(std::shared_ptr<Script> script) : m_script(std::move(script)) {}

    bool InitCapture(const wchar_t* deviceName) override {
        m_script->deviceNames.emplace_back(deviceName);
        return m_script->initResult;
    }
    bool ReadScreenData(int x, int y, int width, int height, unsigned char* dest) override {
        m_script->rectangles.push_back({x, y, width, height});
        m_changed.known = true;
        m_changed.spans = {{static_cast<int>(m_script->rectangles.size()), 1}};
        return m_script->read(dest);
    }
    void ReleaseAll() override {}
    [[nodiscard]] const support::ChangedRows& ChangedRows() const override { return m_changed; }

private:
    std::shared_ptr<Script> m_script;
    support::ChangedRows m_changed;
};

/// A sender whose time only passes when somebody sleeps or the test says so. It runs until
/// `wanted` things (sleeps or pictures) have happened, then waits for pause().
class DxSender : public ::testing::Test {
protected:
    ~DxSender() override { tests::g_onPicture = nullptr; }

    void SetUp() override {
        sender = std::make_unique<NdiDxSender>(
            "name", kInstance, std::make_unique<FakeCapturer>(script),
            NdiDxSender::Timing{[this] { return nowUs / 1000; }, [this] { return nowUs; },
                                [this](std::int64_t duration) {
                                    nowUs += duration * 1000;
                                    happened("sleep " + std::to_string(duration));
                                }});
        tests::g_onPicture = [this](SentPicture picture) {
            nowUs += sendUs;
            pictures.push_back(std::move(picture));
            happened("send");
        };
    }

    void happened(const std::string& what) {
        std::unique_lock lock(mutex);
        events.push_back(what);
        if (events.size() >= wanted && !ended) {
            ended = true;
            changed.notify_all();
        }
        // From here on time stands still for the sender until it is paused.
        changed.wait(lock, [this] { return !ended || released; });
    }

    void runUntil(std::size_t count) {
        wanted = events.size() + count;
        ended = released = false;
        sender->start();
        {
            std::unique_lock lock(mutex);
            ASSERT_TRUE(changed.wait_for(lock, std::chrono::seconds(20), [this] { return ended; }));
            kept = events;
            released = true;
            script->read = [](unsigned char*) { return false; };
        }
        changed.notify_all();
        sender->pause();
    }

    static inline const auto kInstance = reinterpret_cast<NDIlib_send_instance_t>(0x1234);
    std::shared_ptr<FakeCapturer::Script> script = std::make_shared<FakeCapturer::Script>();
    std::unique_ptr<NdiDxSender> sender;
    std::int64_t nowUs = 10'000'000;
    std::int64_t sendUs = 0;
    std::vector<SentPicture> pictures;
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> events;
    std::vector<std::string> kept;
    std::size_t wanted = 0;
    bool ended = false;
    bool released = false;
};

using Events = std::vector<std::string>;

TEST_F(DxSender, SleepsOnEverySecondPictureAt30) {
    ASSERT_TRUE(sender->initParmeter(0, 0, 4, 2, 30, "out"));
    runUntil(6);
    EXPECT_EQ(kept, (Events{"send", "send", "sleep 33", "send", "send", "sleep 33"}));
}

TEST_F(DxSender, CountsTheTimeOfTheSendAsTimeOfThePicture) {
    sendUs = 10'000;
    ASSERT_TRUE(sender->initParmeter(0, 0, 4, 2, 30, "out"));
    runUntil(5);
    EXPECT_EQ(kept, (Events{"send", "send", "sleep 23", "send", "send"}));
}

TEST_F(DxSender, HasAnIntervalForEveryRate) {
    const std::pair<int, Events> cases[] = {
        {0, {"send", "send", "send", "send"}},       {-5, {"send", "send", "send", "send"}},
        {1000, {"send", "send", "sleep 1", "send"}}, {1001, {"send", "send", "send", "send"}},
        {1, {"send", "send", "sleep 1000", "send"}},
    };
    for (const auto& [rate, expected] : cases) {
        events.clear();
        script->read = [](unsigned char*) { return true; };
        ASSERT_TRUE(sender->initParmeter(0, 0, 4, 2, rate, "out"));
        runUntil(expected.size());
        EXPECT_EQ(kept, expected) << rate;
    }
}

TEST_F(DxSender, SleepsTwoMillisecondsWithoutAPicture) {
    int reads = 0;
    script->read = [&reads](unsigned char*) { return ++reads % 3 == 0; };
    ASSERT_TRUE(sender->initParmeter(0, 0, 4, 2, 0, "out"));
    runUntil(6);
    EXPECT_EQ(kept, (Events{"sleep 2", "sleep 2", "send", "sleep 2", "sleep 2", "send"}));
}

TEST_F(DxSender, SendsWhatWasReadWithItsChangedRows) {
    script->read = [](unsigned char* dest) {
        dest[5] = 77;
        return true;
    };
    ASSERT_TRUE(sender->initParmeter(-3, 5, 4, 2, 0, "out"));
    runUntil(3);
    ASSERT_EQ(pictures.size(), 3U);
    EXPECT_EQ(script->rectangles[0], (std::vector<int>{-3, 5, 4, 2}));
    const auto& frame = pictures[0].frame;
    EXPECT_EQ(pictures[0].instance, kInstance);
    EXPECT_EQ(frame.xres, 4);
    EXPECT_EQ(frame.yres, 2);
    EXPECT_EQ(frame.FourCC, NDIlib_FourCC_type_BGRA);
    EXPECT_EQ(frame.frame_rate_N, 30000);
    EXPECT_EQ(frame.frame_rate_D, 1001);
    EXPECT_EQ(frame.frame_format_type, NDIlib_frame_format_type_progressive);
    EXPECT_EQ(frame.timecode, NDIlib_send_timecode_synthesize);
    EXPECT_EQ(frame.line_stride_in_bytes, 0);
    EXPECT_EQ(pictures[0].pixels[5], 77);
    EXPECT_EQ(pictures[0].pixels[7], 255) << "opaque where nothing was read";
    EXPECT_FALSE(pictures[0].hint.known) << "nobody knows what was sent before";
    ASSERT_TRUE(pictures[1].hint.known);
    EXPECT_EQ(pictures[1].hint.spans.at(0).first, 2);
    EXPECT_EQ(pictures[2].hint.spans.at(0).first, 3);

    script->read = [](unsigned char*) { return true; };
    runUntil(2);
    EXPECT_FALSE(pictures[3].hint.known) << "a new run";
    EXPECT_TRUE(pictures[4].hint.known);
}

TEST_F(DxSender, LogsRatesAndDurations) {
    sendUs = 20'000;
    tests::LogCapture log;
    ASSERT_TRUE(sender->initParmeter(1, 2, 4, 2, 0, "out"));
    runUntil(260);
    EXPECT_EQ(log.count("[info] initParmeter x 1 y 2 w 4 h 2 framerate 0 outputName out \n"
                        " //ndidxsender:initParmeter()#"),
              1);
    EXPECT_EQ(log.count("[info] sendFrameThread begin"), 1);
    // A second ends with the first picture that begins more than 1,000,000 us after it.
    EXPECT_EQ(log.count("[debug] frame Rate is 51, frameRateFrequencyMax is 5, frameRateCount is "
                        "256"),
              1)
        << log.text();
    EXPECT_EQ(log.count("timeconsuming is 20000, logMax is 100, timeconsumingSum is 2000000"), 2);
}

TEST_F(DxSender, RefusesBadParameters) {
    struct Case {
        int w, h;
        std::string name;
        bool accepted;
        std::size_t asked;  ///< Length of the name the capturer is asked for; 999: not asked.
    };
    const Case cases[] = {
        {0, 5, "out", false, 999},
        {5, 0, "out", false, 999},
        {-1, -1, "out", false, 999},
        {4, 2, std::string(199, 'n'), true, 199},
        {4, 2, std::string(200, 'n'), true, 0},
        {4, 2, "", true, 0},
        {4, 2, "\xFF\xFE", true, 2},
        {40000, 40000, "out", false, 3},
    };
    for (const auto& c : cases) {
        script->deviceNames.clear();
        EXPECT_EQ(sender->initParmeter(0, 0, c.w, c.h, 30, c.name), c.accepted) << c.name;
        ASSERT_EQ(script->deviceNames.size(), c.asked == 999 ? 0U : 1U);
        if (c.asked != 999) {
            EXPECT_EQ(script->deviceNames[0].size(), c.asked);
        }
    }
}

TEST_F(DxSender, KeepsItsParametersWhenAnotherSetIsRefused) {
    ASSERT_TRUE(sender->initParmeter(1, 1, 4, 2, 0, "out"));
    EXPECT_FALSE(sender->initParmeter(9, 9, 0, 2, 0, "out"));
    script->initResult = false;
    EXPECT_FALSE(sender->initParmeter(9, 9, 9, 9, 0, "out"));
    runUntil(1);
    EXPECT_EQ(pictures[0].frame.xres, 4);
    EXPECT_EQ(script->rectangles[0], (std::vector<int>{1, 1, 4, 2}));

    sender->reset();
    script->initResult = true;
    script->read = [](unsigned char*) { return true; };
    ASSERT_TRUE(sender->initParmeter(2, 2, 6, 3, 0, "out"));
    runUntil(1);
    EXPECT_EQ(pictures.back().frame.xres, 6);
    EXPECT_EQ(script->rectangles.back(), (std::vector<int>{2, 2, 6, 3}));
}

TEST_F(DxSender, DoesNothingBeforeItIsOpened) {
    sender->pause();
    sender->start();
    sender->setAuxName("unused");
    sender->stop();
    EXPECT_TRUE(sender->isDxSender());
    EXPECT_TRUE(script->rectangles.empty());
}

}  // namespace
