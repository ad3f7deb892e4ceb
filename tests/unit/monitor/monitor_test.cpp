#include <gmock/gmock.h>

#include <array>
#include <filesystem>
#include <fstream>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include "monitor/browser.h"
#include "monitor/decoder.h"
#include "monitor/options.h"
#include "monitor/png.h"
#include "monitor/report.h"
#include "monitor/statistics.h"

namespace monitor {
namespace {

using testing::HasSubstr;

TEST(Options, AreRead) {
    const auto parsed = parseOptions({"PC (a)", "--frames", "10", "--seconds", "2.5", "--save",
                                      "x.png", "--quality", "low", "--tally", "program", "--stats",
                                      "--json", "--no-decode", "--wait", "1"});
    const auto* options = std::get_if<Options>(&parsed);
    ASSERT_TRUE(options) << std::get<UsageError>(parsed).message;
    EXPECT_EQ(options->name, "PC (a)");
    EXPECT_EQ(options->frames, 10U);
    EXPECT_EQ(options->seconds, 2.5);
    EXPECT_EQ(options->waitSeconds, 1);
    EXPECT_EQ(options->saveFile, "x.png");
    EXPECT_EQ(options->tally, Options::Tally::Program);
    EXPECT_TRUE(options->lowQuality && options->stats && options->json && !options->decode);

    const auto v6 = parseOptions({"--address", "[fe80::1%eth0]:5961"});
    ASSERT_TRUE(std::holds_alternative<Options>(v6));
    EXPECT_EQ(std::get<Options>(v6).host, "fe80::1%eth0");
    EXPECT_EQ(std::get<Options>(v6).port, 5961);
    EXPECT_EQ(std::get<Options>(parseOptions({"--", "-x"})).name, "-x");
    EXPECT_EQ(std::get<Options>(parseOptions({"--list"})).task, Options::Task::List);
    EXPECT_EQ(std::get<Options>(parseOptions({"--help"})).task, Options::Task::Help);
}

TEST(Options, SayWhatIsWrong) {
    const struct {
        std::vector<std::string> words;
        const char* says;
    } cases[] = {
        {{}, "name a source"},
        {{"a", "b"}, "two names"},
        {{""}, "empty"},
        {{"a", "--all"}, "exclude"},
        {{"--all", "--address", "h:1"}, "exclude"},
        {{"--list", "a"}, "--list"},
        {{"a", "--frames"}, "needs a value"},
        {{"a", "--frames", "0"}, "\"0\""},
        {{"a", "--frames", "-1"}, "\"-1\""},
        {{"a", "--frames", "1x"}, "\"1x\""},
        {{"a", "--seconds", "0"}, "seconds"},
        {{"a", "--seconds", "nan"}, "nan"},
        {{"a", "--seconds", "1e99"}, "1e99"},
        {{"a", "--wait", "soon"}, "soon"},
        {{"a", "--quality", "best"}, "high or low"},
        {{"a", "--tally", "yes"}, "yes"},
        {{"--address", "host"}, "HOST:PORT"},
        {{"--address", ":1"}, "HOST:PORT"},
        {{"--address", "host:0"}, "HOST:PORT"},
        {{"--address", "host:65536"}, "HOST:PORT"},
        {{"--address", "fe80::1:5961"}, "[IPV6]:PORT"},
        {{"a", "--fast"}, "--fast"},
    };
    for (const auto& each : cases) {
        const auto parsed = parseOptions(each.words);
        const auto* error = std::get_if<UsageError>(&parsed);
        ASSERT_TRUE(error) << each.says;
        EXPECT_THAT(error->message, HasSubstr(each.says));
    }
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

Statistics::Frame frameAt(double seconds, double latencyMs = 5) {
    constexpr std::int64_t kStart = 16'000'000'000'000'000;
    Statistics::Frame frame;
    frame.timestamp100ns = kStart + static_cast<std::int64_t>(seconds * 1e7);
    frame.wallClock100ns = frame.timestamp100ns + static_cast<std::int64_t>(latencyMs * 1e4);
    frame.arrivedUs = static_cast<std::int64_t>(seconds * 1e6);
    frame.period100ns = 1e7 / 25;
    frame.bytes = 125000;
    return frame;
}

TEST(Statistics, CountWhatArrivedAndWhatDidNot) {
    Statistics statistics;
    EXPECT_FALSE(statistics.latency());
    EXPECT_EQ(statistics.framesPerSecond(), 0);
    for (int i = 0; i <= 100; ++i) {
        if (i != 10 && i != 20 && i != 21) {
            // Timestamps shake a little, like a real sender's.
            statistics.add(frameAt(i * 0.04 + (i % 2) * 0.004, i + 1));
        }
    }
    EXPECT_EQ(statistics.frames(), 98U);
    EXPECT_EQ(statistics.missing(), 3U);
    EXPECT_EQ(statistics.pauses(), 0U);
    EXPECT_NEAR(statistics.framesPerSecond(), 97 / 4.0, 0.01);
    EXPECT_NEAR(statistics.megabitsPerSecond(), 97 / 4.0, 0.01);
    const auto latency = statistics.latency();
    ASSERT_TRUE(latency);
    EXPECT_NEAR(latency->least, 1, 0.01);
    EXPECT_NEAR(latency->most, 101, 0.01);
    EXPECT_NEAR(latency->p99, 101, 0.01);  // 98 values: the 98th.
    EXPECT_NEAR(latency->median, 52, 0.01);

    statistics.add(frameAt(5.0));  // A source that stands still.
    statistics.add(frameAt(8.5));
    EXPECT_EQ(statistics.missing(), 3U);
    EXPECT_EQ(statistics.pauses(), 2U);
    EXPECT_NEAR(statistics.longestPauseSeconds(), 3.5, 0.01);
}

TEST(Statistics, DoWithoutTimestamps) {
    Statistics statistics;
    for (int i = 0; i < 3; ++i) {
        auto frame = frameAt(i);
        frame.timestamp100ns = 0;
        statistics.add(frame);
    }
    EXPECT_EQ(statistics.frames(), 3U);
    EXPECT_EQ(statistics.pauses() + statistics.missing(), 0U);
    EXPECT_FALSE(statistics.latency());
    for (const auto timestamp : {INT64_MIN, INT64_MAX, INT64_MIN}) {  // Or with senseless ones.
        auto frame = frameAt(0);
        frame.timestamp100ns = timestamp;
        statistics.add(frame);
    }
    EXPECT_EQ(statistics.frames(), 6U);
}

TEST(Report, QuotesForJson) {
    EXPECT_EQ(jsonText("a\"b\\c\n\xFF"), "\"a\\\"b\\\\c ?\"");
    FoundSource source{"PC (a)", {}};
    addEndpoint(source, {asio::ip::make_address("fe80::1"), 5961});
    addEndpoint(source, {asio::ip::make_address("::1"), 5961});
    addEndpoint(source, {asio::ip::make_address("10.0.0.1"), 5961});
    addEndpoint(source, {asio::ip::make_address("10.0.0.1"), 5961});
    EXPECT_EQ(listText({source}), "PC (a)\t10.0.0.1:5961 [::1]:5961 [fe80::1]:5961\n");
    EXPECT_EQ(listJson({}), "[]\n");
    EXPECT_EQ(listJson({source, {"b", {}}}),
              "[{\"name\":\"PC (a)\",\"addresses\":[\"10.0.0.1:5961\",\"[::1]:5961\","
              "\"[fe80::1]:5961\"]},{\"name\":\"b\",\"addresses\":[]}]\n");
}

/// One colour, as a decoder delivers it.
FramePtr plain(int width, int height, std::array<int, 3> yuv) {
    FramePtr frame(av_frame_alloc());
    frame->width = width;
    frame->height = height;
    frame->format = AV_PIX_FMT_YUV422P;
    EXPECT_EQ(av_frame_get_buffer(frame.get(), 0), 0);
    for (int plane = 0; plane < 3; ++plane) {
        std::fill_n(frame->data[plane], frame->linesize[plane] * height,
                    static_cast<std::uint8_t>(yuv[static_cast<std::size_t>(plane)]));
    }
    return frame;
}

/// The pixel in the middle of a PNG, by libav's own decoder.
std::array<int, 3> middlePixel(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(in), {});
    const CodecContextPtr context(avcodec_alloc_context3(avcodec_find_decoder(AV_CODEC_ID_PNG)));
    const PacketPtr packet(av_packet_alloc());
    const FramePtr frame(av_frame_alloc());
    EXPECT_EQ(avcodec_open2(context.get(), nullptr, nullptr), 0);
    EXPECT_EQ(av_new_packet(packet.get(), static_cast<int>(bytes.size())), 0);
    std::copy(bytes.begin(), bytes.end(), packet->data);
    if (avcodec_send_packet(context.get(), packet.get()) != 0 ||
        avcodec_receive_frame(context.get(), frame.get()) != 0 ||
        frame->format != AV_PIX_FMT_RGB24) {
        return {-1, -1, -1};
    }
    const auto* at = frame->data[0] + frame->height / 2 * frame->linesize[0] + frame->width / 2 * 3;
    return {at[0], at[1], at[2]};
}

TEST(Png, HasTheRightColours) {
    // Y, Cb, Cr of pure colours in limited range, computed from each standard's luma weights.
    const struct {
        int width, height;
        std::array<int, 3> yuv;
        std::array<int, 3> rgb;
    } cases[] = {
        {1280, 720, {235, 128, 128}, {255, 255, 255}}, {1280, 720, {16, 128, 128}, {0, 0, 0}},
        {1280, 720, {63, 102, 240}, {255, 0, 0}},      {1280, 720, {173, 42, 26}, {0, 255, 0}},
        {1280, 720, {32, 240, 118}, {0, 0, 255}},      {720, 576, {81, 90, 240}, {255, 0, 0}},
        {720, 576, {145, 54, 34}, {0, 255, 0}},        {64, 64, {41, 240, 110}, {0, 0, 255}},
        {720, 577, {63, 102, 240}, {255, 0, 0}},       {736, 576, {63, 102, 240}, {255, 0, 0}},
    };
    const auto file = testing::TempDir() + "monitor-colours.png";
    for (const auto& each : cases) {
        EXPECT_EQ(savePng(*plain(each.width, each.height, each.yuv), file), "");
        const auto pixel = middlePixel(file);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_NEAR(pixel[i], each.rgb[i], 2) << each.width << "x" << each.height << " " << i;
        }
    }
    std::filesystem::remove(file);
    EXPECT_THAT(savePng(*plain(16, 16, {16, 128, 128}), "/no/such/folder/x.png"),
                HasSubstr("/no/such/folder/x.png failed: No such file"));
}

TEST(Decoder, RefusesWhatIsNoPicture) {
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
