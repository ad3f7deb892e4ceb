// A source as its receivers see it: real sockets on loopback, well-behaved and hostile receivers.

#include <algorithm>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <variant>

#include "unit/ndi/sourcefixture.h"

namespace ndi {
namespace {

using namespace std::chrono_literals;
using tests::eventually;

TEST(Receivers, AreGreetedAndGetFramesWhileTheyAskForThem) {
    const LogCapture log;
    const auto source = openSource();
    TestImage image(320, 192);
    image.sendTo(*source);

    TestReceiver receiver(source->port());
    const auto& texts = receiver.readTexts(3);
    ASSERT_EQ(texts.size(), 3U);
    const auto version = std::get<wire::VersionText>(texts[0]);
    EXPECT_EQ(std::tuple(version.text, version.video, version.audio), std::tuple(2, 3, 2));
    EXPECT_EQ(version.platform, "LINUX");
    EXPECT_EQ(std::get<wire::IdentifyText>(texts[1]).name, source->instance());
    EXPECT_FALSE(std::get<wire::TallyEchoText>(texts[2]).onProgram);

    receiver.sendText(R"(<ndi_video quality="high"/>)");
    image.sendTo(*source);
    EXPECT_FALSE(receiver.nextFrame(300ms));
    receiver.sendText(R"(<ndi_enabled_streams video="true" text="true"/>)");
    EXPECT_TRUE(receiver.nextFrame());
    receiver.sendText(R"(<ndi_enabled_streams video="false" text="true"/>)");
    EXPECT_TRUE(log.says(" wants no video"));
    image.sendTo(*source);
    for (const auto& late : receiver.frames(1500ms)) {
        EXPECT_LT(late.info.timecode, image.timecode());
    }
}

TEST(Receivers, SeeTheFrameAndWhatTheCallerSaysAboutIt) {
    const auto source = openSource();
    TestImage image(1000, 49, 12);
    image.sendTo(*source);
    Viewer viewer(*source);
    auto frame = image.frame();
    frame.timecode = NDIlib_send_timecode_synthesize;
    source->send(&frame);
    const auto received = viewer.frameOf(NDIlib_send_timecode_synthesize);
    EXPECT_GT(image.psnrOf(received), 38);
    EXPECT_EQ(std::tuple(received.info.width, received.info.height, received.info.aspect),
              std::tuple(1008U, 49U, 1008.0F / 49));
    EXPECT_EQ(std::tuple(received.info.rateNumerator, received.info.rateDenominator),
              std::tuple(30000U, 1001U));
    const auto now = static_cast<double>(Timekeeper().wallClock());
    EXPECT_NEAR(static_cast<double>(received.info.timestamp), now, 5e7);

    std::vector<std::uint8_t> uyvy;
    for (int i = 0; i < 64 * 64; ++i) {
        uyvy.insert(uyvy.end(), {static_cast<std::uint8_t>(i % 2 == 0 ? 97 : 208), 72});
    }
    frame.FourCC = NDIlib_FourCC_type_UYVY;
    frame.xres = frame.yres = 64;
    frame.line_stride_in_bytes = 0;
    frame.p_data = uyvy.data();
    frame.picture_aspect_ratio = 1.5F;
    frame.timecode = -123;
    frame.timestamp = 456;
    frame.frame_format_type = NDIlib_frame_format_type_interleaved;
    frame.p_metadata = "<where/>";
    source->send(&frame);
    const auto second = viewer.frameOf(-123);
    EXPECT_EQ(std::tuple(second.info.aspect, second.info.timestamp, second.info.frameFormat,
                         second.info.metadata),
              std::tuple(1.5F, 456, 0U, "<where/>"));
    const auto decoded = tests::decode(second);
    ASSERT_TRUE(decoded);
    EXPECT_NEAR(decoded->cb[100], 97, 2);
    EXPECT_NEAR(decoded->cr[100], 208, 2);
}

/// By the source's own timestamps: delays of a busy machine on the way do not count.
TEST(Receivers, GetTheLastFrameAtOnceThenBetterOnesThenOneASecond) {
    const auto source = openSource();
    TestImage image(640, 360);
    image.sendTo(*source);
    TestReceiver receiver(source->port());
    receiver.sayHello();
    auto received = receiver.nextFrame();
    ASSERT_TRUE(received);
    EXPECT_GT(image.psnrOf(*received), 38);
    for (int repeats = 0; received->packet[0] < 98; ++repeats) {
        const int before = received->packet[0];
        received = receiver.nextFrame();
        ASSERT_TRUE(received);
        EXPECT_GE(received->packet[0], before);
        EXPECT_LT(repeats, 6);
    }
    // The second frame after the best one is the first that waits for its second.
    ASSERT_TRUE(received = receiver.nextFrame());
    double shortest = 1e9;
    for (int i = 0; i < 4; ++i) {
        const auto before = received->info.timestamp;
        ASSERT_TRUE(received = receiver.nextFrame());
        EXPECT_EQ(received->packet[0], 98);
        shortest = std::min(shortest, static_cast<double>(received->info.timestamp - before) / 1e7);
    }
    EXPECT_NEAR(shortest, 1.0, 0.3);
}

TEST(Receivers, GetEachFrameOfASlowRateOnce) {
    const auto source = Source::open({{"Test", 0}, true, {}}, testParts());
    TestImage image(64, 64);
    const auto send = [&] {
        auto frame = image.frame();
        frame.frame_rate_N = 2;
        frame.frame_rate_D = 1;
        source->send(&frame);
        return frame.timecode;
    };
    send();
    Viewer viewer(*source);
    for (int i = 0; i < 4; ++i) {
        const auto timecode = send();  // Returns half a second later, or in the next slot.
        const auto received = viewer.nextFrame();
        ASSERT_TRUE(received);
        EXPECT_EQ(received->info.timecode, timecode);
    }
}

TEST(Receivers, SwitchQualityAtAnyTimeEachInItsOwn) {
    const auto source = openSource();
    TestImage image(1280, 720);
    image.sendTo(*source);
    Viewer one(*source, "ONE (viewer)");
    Viewer other(*source, "OTHER (viewer)", true);
    // Frames that were queued before come first.
    const auto gets = [&](Viewer& viewer, std::uint32_t width) {
        return eventually([&] {
            image.sendTo(*source);
            const auto next = viewer.nextFrame();
            return next && next->info.width == width && tests::decode(*next);
        });
    };
    EXPECT_TRUE(gets(one, 1280));
    EXPECT_TRUE(gets(other, 640));
    other.sendText(R"(<ndi_video quality="high"/>)");
    EXPECT_TRUE(gets(other, 1280));
    one.sendText(R"(<ndi_video quality="low"/>)");
    EXPECT_TRUE(gets(one, 640));
}

TEST(Receivers, AreToldOfEveryTally) {
    const LogCapture log;
    const auto source = openSource();
    TestReceiver first(source->port());
    TestReceiver second(source->port());
    first.sayHello(false, "FIRST (viewer)");
    first.readTexts(3);
    second.readTexts(3);
    const auto echo = [](TestReceiver& receiver, std::size_t number) {
        const auto& texts = receiver.readTexts(number);
        const auto tally = std::get<wire::TallyEchoText>(texts.at(number - 1));
        return std::pair(tally.onProgram, tally.onPreview);
    };
    first.sendText(R"(<ndi_tally on_program="true" on_preview="false"/>)");
    EXPECT_EQ(echo(second, 4), std::pair(true, false));
    second.sendText(R"(<ndi_tally on_program="true" on_preview="true"/>)");
    EXPECT_EQ(echo(first, 5), std::pair(true, true));
    EXPECT_TRUE(log.says("tally of FIRST (viewer) at 127.0.0.1:"));

    // The tally of a receiver that leaves ends, unless another receiver has it too.
    first.vanish();
    EXPECT_TRUE(log.says("FIRST (viewer) at 127.0.0.1:"));
    TestReceiver third(source->port());
    EXPECT_EQ(echo(third, 3), std::pair(true, true)) << "said on connect";
    second.vanish();
    EXPECT_EQ(echo(third, 4), std::pair(false, false));
}

TEST(Receivers, AStallingOneDelaysNoOther) {
    const LogCapture log;
    const auto source = openSource();
    TestImage image(1280, 720);
    image.sendTo(*source);
    Viewer good(*source, "GOOD (viewer)");
    Viewer stalled(*source, "STALLED (viewer)", false, 4096);
    constexpr int kSent = 60;
    for (int i = 0; i < kSent; ++i) {
        image.sendTo(*source);
        ASSERT_TRUE(good.sees(image));
    }
    // It gets the newest frame when it reads again, not the old ones.
    std::int64_t last = 0;
    for (int late = 0; last != image.timecode(); ++late) {
        const auto received = stalled.nextFrame();
        ASSERT_TRUE(received);
        EXPECT_TRUE(tests::decode(*received));
        last = received->info.timecode;
        ASSERT_LT(late, kSent / 2);
    }
    EXPECT_TRUE(eventually([&] {  // reported once a second
        return source->status().receivers.at(1).dropped.receiverTooSlow > 0;
    }));
    EXPECT_EQ(source->status().receivers.at(0).dropped.receiverTooSlow, 0U);
    stalled.vanish();
    EXPECT_TRUE(log.says("STALLED (viewer) at 127.0.0.1:"));
    EXPECT_TRUE(log.says("dropped: receiver too slow "));
}

/// A good receiver is connected meanwhile; it must not miss a frame.
TEST(Receivers, HostileOnesAreClosedAloneWithOneLine) {
    const LogCapture log;
    SourceParts parts = testParts();
    parts.limits.receiver.handshake = 3000ms;
    parts.limits.receiver.stall = 3000ms;
    const auto source = openSource(std::move(parts));
    TestImage image(640, 384);
    image.sendTo(*source);
    Viewer good(*source, "GOOD (viewer)");
    const auto message = [](const std::string& xml) {
        const auto bytes = wire::makeTextMessage(xml);
        return std::string(bytes.begin(), bytes.end());
    };
    std::string flood;
    for (int i = 0; i < 150; ++i) {
        flood += message("<ndi_ptz/>");
    }
    std::mt19937 random(1);
    std::string noise(100'000, '\0');
    std::generate(noise.begin(), noise.end(), [&] { return static_cast<char>(random()); });
    const struct {
        const char* what;
        std::string bytes;
        const char* line;
    } cases[] = {
        {"garbage", noise, "malformed message"},
        {"a 4 GiB text", std::string("\x01\x80\x02\0\x08\0\0\0\xff\xff\xff\xff", 12),
         "the data block is too large"},
        {"a flood", flood, "more than 100 messages per second"},
        {"half a header", std::string("\x01\x80\x02\0\x08", 5),
         "no ndi_enabled_streams within 3000 ms"},
        {"an endless text", message("<ndi_video/>").substr(0, 30),
         "no ndi_enabled_streams within 3000 ms"},
        {"nothing", "", "no ndi_enabled_streams within 3000 ms"},
    };
    std::vector<std::unique_ptr<TestReceiver>> hostile;
    for (const auto& c : cases) {
        hostile.push_back(std::make_unique<TestReceiver>(source->port()));
        hostile.back()->sendBytes(c.bytes.data(), c.bytes.size());
        image.sendTo(*source);
        EXPECT_TRUE(good.sees(image)) << c.what;
    }
    for (int i = 0; i < 10; ++i) {  // Vanish in the middle of a frame.
        Viewer vanishing(*source);
        image.sendTo(*source);
        vanishing.vanish();
        EXPECT_TRUE(good.sees(image));
    }
    const Viewer silent(*source, "SILENT (viewer)", false, 4096);  // Reads nothing more.
    TestImage large(1920, 1080);
    EXPECT_TRUE(eventually([&] {
        large.sendTo(*source);
        EXPECT_TRUE(good.sees(large));
        return log.count("accepted no data for 3000 ms") == 1;
    }));
    for (std::size_t i = 0; i < hostile.size(); ++i) {
        EXPECT_TRUE(hostile[i]->isClosed()) << cases[i].what;
        EXPECT_TRUE(log.says(cases[i].line)) << cases[i].what;
    }
    EXPECT_EQ(log.count("no ndi_enabled_streams within 3000 ms"), 3);
    const DroppedFrames dropped = source->status().receivers.at(0).dropped;
    EXPECT_EQ(dropped.receiverTooSlow + dropped.ioThreadLate, 0U);
}

TEST(Receivers, TogetherCauseFewLinesOfEachKind) {
    const LogCapture log;
    const auto source = openSource();
    std::vector<std::unique_ptr<TestReceiver>> receivers;
    for (int i = 0; i < 4; ++i) {
        receivers.push_back(std::make_unique<TestReceiver>(source->port()));
        receivers.back()->sayHello(false, "TALKER");
        for (int turn = 0; turn < 15; ++turn) {
            receivers.back()->sendText(R"(<ndi_tally on_program="true" on_preview="true"/>)");
            receivers.back()->sendText(R"(<ndi_tally/>)");
            receivers.back()->sendText("<ndi_ptz/>");
            receivers.back()->sendText("no XML");
        }
    }
    for (int i = 0; i < 30; ++i) {
        TestReceiver passing(source->port());
        passing.sayHello(false, "PASSING");
        passing.readTexts(3);
    }
    EXPECT_TRUE(eventually([&] { return source->status().receivers.size() == 4; }));
    for (const auto& [line, most] : {
             std::pair{"tally of TALKER", 10},
             {": on program: ", 10},
             {" that is not XML", 5},
             {"ignored the text ndi_ptz", 5},
             {" joined, ", 10},
             {" left: closed by", 10},
             {" wants the main stream", 10},
         }) {
        EXPECT_GT(log.count(line), 0) << line;
        EXPECT_LE(log.count(line), most) << line;
    }
}

TEST(Receivers, BeyondTheLimitAreRefusedUnlessOneIsIdle) {
    const LogCapture log;
    SourceParts parts = testParts();
    parts.limits.receivers = 3;
    const auto source = openSource(std::move(parts));
    TestImage image(64, 64);
    image.sendTo(*source);
    TestReceiver idle(source->port());
    Viewer a(*source);
    Viewer b(*source);
    Viewer c(*source);  // Takes the place of the one that says nothing.
    EXPECT_TRUE(idle.isClosed());
    TestReceiver d(source->port());
    EXPECT_TRUE(d.isClosed());
    EXPECT_TRUE(log.says("connection limit of 3 reached"));
    EXPECT_TRUE(a.nextFrame());
    a.vanish();
    EXPECT_TRUE(log.says("receivers now: 2"));
}

}  // namespace
}  // namespace ndi
