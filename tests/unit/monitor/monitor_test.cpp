#include <gmock/gmock.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include "monitor/browser.h"
#include "monitor/decoder.h"
#include "monitor/options.h"
#include "monitor/report.h"
#include "monitor/statistics.h"
#include "monitor/watch.h"

namespace monitor {
namespace {

using testing::HasSubstr;

TEST(Options, SayWhatIsWrong) {
    const struct {
        std::vector<std::string> words;
        const char* says;
    } cases[] = {
        {{}, "name a source"},
        {{"a", "b"}, "two names"},
        {{""}, "empty"},
        {{"--all", "--address", "h:1"}, "exclude each other"},
        {{"--list", "a"}, "--list"},
        {{"a", "--frames"}, "--frames: the value is missing"},
        {{"a", "--frames", "-1"}, "\"-1\""},
        {{"a", "--frames", "1x"}, "\"1x\""},
        {{"a", "--seconds", "nan"}, "nan"},
        {{"a", "--quality", "best"}, "{high,low}"},
        {{"a", "--tally", "yes"}, "yes"},
        {{"--address", ":1"}, "HOST:PORT"},
        {{"--address", "host:65536"}, "HOST:PORT"},
        {{"--address", "fe80::1:5961"}, "[IPV6]:PORT"},
        {{"a", "--fast"}, "--fast"},
        {{"a", "--save", "x.jpg"}, "ending in .png"},
    };
    for (const auto& each : cases) {
        const auto parsed = parseOptions(each.words);
        const auto* error = std::get_if<UsageError>(&parsed);
        ASSERT_TRUE(error) << each.says;
        EXPECT_THAT(error->message, HasSubstr(each.says));
    }
    const auto v6 = std::get<Options>(parseOptions({"--address", "[fe80::1%eth0]:5961"}));
    EXPECT_EQ(v6.host, "fe80::1%eth0");
    EXPECT_EQ(v6.port, 5961);
    EXPECT_EQ(std::get<Options>(parseOptions({"--", "-x"})).name, "-x");
    EXPECT_EQ(std::get<Options>(parseOptions({"/x"})).name, "/x");
    EXPECT_EQ(std::get<Options>(parseOptions({"[x]"})).name, "[x]");
}

TEST(Matching, PrefersTheExactName) {
    const FoundSources sources{
        {"PC (Cam)", {}}, {"PC (cam)", {}}, {"TV (Cam)", {}}, {"TV (b (c))", {}}};
    const struct {
        const char* wanted;
        std::vector<std::string> found;
    } cases[] = {
        {"PC (Cam)", {"PC (Cam)"}},
        {"tv (CAM)", {"TV (Cam)"}},
        {"pc (CAM)", {"PC (Cam)", "PC (cam)"}},
        {"cam", {"PC (Cam)", "PC (cam)", "TV (Cam)"}},
        {"B (C)", {"TV (b (c))"}},
        {"C", {}},
        {"PC", {}},
    };
    for (const auto& each : cases) {
        std::vector<std::string> names;
        for (const auto& source : matching(sources, each.wanted)) {
            names.push_back(source.name);
        }
        EXPECT_EQ(names, each.found) << each.wanted;
    }
}

ArrivedFrame frameAt(double seconds, double latencyMs = 5) {
    constexpr std::int64_t kStart = 16'000'000'000'000'000;
    ArrivedFrame frame;
    frame.timestamp100ns = kStart + static_cast<std::int64_t>(seconds * 1e7);
    frame.wallClock100ns = frame.timestamp100ns + static_cast<std::int64_t>(latencyMs * 1e4);
    frame.arrivedUs = static_cast<std::int64_t>(seconds * 1e6 + latencyMs * 1e3);
    frame.period100ns = 1e7 / 25;
    frame.bytes = 125000;
    return frame;
}

/// Frames `first` to `last` at 25 fps, with a little jitter in their timestamps.
void addSteady(Statistics& statistics, int first, int last) {
    for (int i = first; i <= last; ++i) {
        statistics.add(frameAt(i * 0.04 + (i % 2) * 0.004));
    }
}

TEST(Statistics, CountFrames) {
    Statistics statistics;
    EXPECT_FALSE(statistics.latency());
    EXPECT_EQ(statistics.framesPerSecond(), 0);
    for (int i = 0; i <= 100; ++i) {
        auto frame = frameAt(i * 0.04);
        frame.wallClock100ns = frame.timestamp100ns + (i + 1) * 10'000;
        statistics.add(frame);
    }
    EXPECT_EQ(statistics.frames(), 101U);
    EXPECT_EQ(statistics.pauses(), 0U);
    EXPECT_NEAR(statistics.intervalDeviationMs(), 0, 0.001);
    EXPECT_NEAR(statistics.framesPerSecond(), 25, 0.01);
    EXPECT_NEAR(statistics.megabitsPerSecond(), 25, 0.01);
    const auto latency = statistics.latency();
    ASSERT_TRUE(latency);
    EXPECT_NEAR(latency->least, 1, 0.01);
    EXPECT_NEAR(latency->median, 51, 0.01);
    EXPECT_NEAR(latency->p99, 100, 0.01);
    EXPECT_NEAR(latency->most, 101, 0.01);

    statistics.add(frameAt(5.0));
    statistics.add(frameAt(8.5));
    EXPECT_EQ(statistics.pauses(), 2U);
    EXPECT_NEAR(statistics.longestGapSeconds(), 3.5, 0.01);
    // 100 gaps of 0.04 s, one of 1 s, one of 3.5 s.
    EXPECT_NEAR(statistics.intervalDeviationMs(), 352.9, 0.1);
}

TEST(Statistics, DoNotCountGapsOfAStillScreen) {
    Statistics statistics;
    for (int i = 0; i < 20; ++i) {
        statistics.add(frameAt(i * 0.5, i == 7 ? 120 : 5));  // A blinking caret.
    }
    addSteady(statistics, 300, 400);
    addSteady(statistics, 410, 500);  // Movement that pauses.
    auto before = frameAt(30);
    before.timestamp100ns -= 200'000'000;  // The source's clock is set back.
    statistics.add(before);
    EXPECT_EQ(statistics.lateOrLost(), 0U);
}

TEST(Statistics, CountFramesLateOrLostInAHeldUpConnection) {
    Statistics statistics;
    addSteady(statistics, 0, 50);
    statistics.add(frameAt(51 * 0.04, 250));  // Late by 245 ms, which is six periods.
    statistics.add(frameAt(55 * 0.04, 90));   // Late too; before it, three frames were lost.
    addSteady(statistics, 56, 100);
    EXPECT_EQ(statistics.lateOrLost(), 5U);
    statistics.add(frameAt(101 * 0.04, 100));  // Late by two periods, then nothing new for a while.
    addSteady(statistics, 120, 130);
    EXPECT_EQ(statistics.lateOrLost(), 8U);
    statistics.add(frameAt(131 * 0.04, 100));  // Too soon after that to be certain.
    EXPECT_EQ(statistics.lateOrLost(), 8U);
}

TEST(Statistics, AcceptMissingAndInvalidTimestamps) {
    Statistics statistics;
    for (int i = 0; i < 3; ++i) {
        auto frame = frameAt(i);
        frame.timestamp100ns = 0;
        statistics.add(frame);
    }
    EXPECT_EQ(statistics.frames(), 3U);
    EXPECT_FALSE(statistics.lateOrLost());
    EXPECT_FALSE(statistics.latency());
    for (const auto timestamp : {INT64_MIN, INT64_MAX, INT64_MIN}) {
        auto frame = frameAt(0);
        frame.timestamp100ns = timestamp;
        statistics.add(frame);
    }
    EXPECT_EQ(statistics.frames(), 6U);
}

TEST(Report, ListsSources) {
    FoundSource source{"PC (a)\xFF", {}};
    addEndpoint(source, {asio::ip::make_address("fe80::1"), 5961});
    addEndpoint(source, {asio::ip::make_address("::1"), 5961});
    addEndpoint(source, {asio::ip::make_address("10.0.0.1"), 5961});
    addEndpoint(source, {asio::ip::make_address("10.0.0.1"), 5961});
    EXPECT_EQ(listText({source}), "PC (a)?\t10.0.0.1:5961 [::1]:5961 [fe80::1]:5961\n");
    EXPECT_EQ(listJson({}), "[]\n");
    EXPECT_EQ(listJson({source, {"b", {}}}),
              "[{\"name\":\"PC (a)\xEF\xBF\xBD\",\"addresses\":[\"10.0.0.1:5961\",\"[::1]:5961\","
              "\"[fe80::1]:5961\"]},{\"name\":\"b\",\"addresses\":[]}]\n");
}

TEST(Watch, ReportsEachChangeOnce) {
    using std::chrono::milliseconds;
    const auto at = [](int ms) { return SourceChanges::TimePoint() + milliseconds(ms); };
    FoundSource source{"PC (a)", {}};
    addEndpoint(source, {asio::ip::make_address("10.0.0.1"), 5961});
    SourceChanges changes;
    std::string text;
    const auto update = [&](const FoundSources& sources, int ms) {
        for (const auto& event : changes.update(sources, at(ms))) {
            text += eventText(event);
        }
    };
    update({source}, 0);
    addEndpoint(source, {asio::ip::make_address("10.0.0.2"), 5961});
    update({source}, 200);
    update({source, {"PC (b)", {}}}, 400);  // The second is gone before it has settled.
    update({source}, 500);
    update({source}, 600);
    source.endpoints.pop_back();
    update({source}, 1000);
    update({source}, 1300);
    update({}, 1400);
    update({}, 2000);
    EXPECT_EQ(text,
              "appeared\tPC (a)\t10.0.0.1:5961 10.0.0.2:5961\n"
              "changed\tPC (a)\t10.0.0.1:5961\n"
              "disappeared\tPC (a)\n");
}

TEST(Decoder, RefusesOtherData) {
    const std::uint32_t shq2 = MKTAG('S', 'H', 'Q', '2');
    const std::vector<std::uint8_t> noise(5000, 0xA5);
    const struct {
        std::uint32_t fourCC, width, height;
        std::size_t size;
    } cases[] = {
        {shq2, 320, 240, 0},        {shq2, 320, 240, 3},
        {shq2, 320, 240, 5000},     {shq2, 0xFFFFFFFF, 1, 5000},
        {shq2, 65536, 65536, 5000}, {MKTAG('H', '2', '6', '4'), 320, 240, 5000},
        {shq2, 8192, 8192, 5000},
    };
    Decoder decoder;
    for (const auto& each : cases) {
        EXPECT_EQ(decoder.decode(each.fourCC, each.width, each.height, noise.data(), each.size),
                  nullptr);
        EXPECT_NE(decoder.error(), "");
    }
}

}  // namespace
}  // namespace monitor
