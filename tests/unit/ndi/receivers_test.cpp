// A source as its receivers see it: real sockets on loopback, well-behaved and hostile receivers.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <variant>

#include "support/logfile.h"
#include "unit/ndi/sourcefixture.h"

namespace ndi {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using testsupport::LogFile;

/// Sends a picture and its successors at 100 a second until it is destroyed.
class Stream {
public:
    explicit Stream(Source& source, int width = 320, int height = 192, Milliseconds pause = 10ms)
        : m_thread([this, &source, width, height, pause] {
              std::vector<Picture> pictures;
              for (int step = 0; step < 8; ++step) {
                  pictures.emplace_back(width, height, step);
              }
              for (std::size_t i = 0; !m_stop; ++i) {
                  const auto before = steady_clock::now();
                  pictures[i % pictures.size()].sendTo(source);
                  const auto took = steady_clock::now() - before;
                  m_longest = std::max<std::int64_t>(m_longest, took.count());
                  ++m_sent;
                  std::this_thread::sleep_for(pause);
              }
          }) {}
    ~Stream() { stop(); }

    void stop() {
        m_stop = true;
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
    [[nodiscard]] int sent() const { return m_sent; }
    /// Of the calls since the last time it was asked for.
    [[nodiscard]] std::chrono::nanoseconds longestCall() {
        return std::chrono::nanoseconds(m_longest.exchange(0));
    }

private:
    std::atomic<bool> m_stop{false};
    std::atomic<int> m_sent{0};
    std::atomic<std::int64_t> m_longest{0};
    std::thread m_thread;
};

TEST(Receivers, AreGreetedAndGetNothingButTextBeforeTheyAsk) {
    const auto source = openSource();
    Picture picture(320, 192);
    picture.sendTo(*source);

    TestReceiver receiver(source->port());
    receiver.readTexts(3, 2s);
    ASSERT_EQ(receiver.texts().size(), 3U);
    const auto version = std::get<wire::VersionText>(receiver.texts()[0]);
    EXPECT_EQ(version.text, 2);
    EXPECT_EQ(version.video, 3);
    EXPECT_EQ(version.audio, 2);
    EXPECT_EQ(version.platform, "LINUX");
    EXPECT_EQ(std::get<wire::IdentifyText>(receiver.texts()[1]).name, source->instance());
    EXPECT_FALSE(std::get<wire::TallyEchoText>(receiver.texts()[2]).onProgram);

    receiver.sendText(R"(<ndi_video quality="high"/>)");
    picture.sendTo(*source);
    EXPECT_FALSE(receiver.nextPicture(300ms));
    receiver.sendText(R"(<ndi_enabled_streams video="true" text="true"/>)");
    EXPECT_TRUE(receiver.nextPicture(2s));
    // And no more when it stops asking.
    receiver.sendText(R"(<ndi_enabled_streams video="false" text="true"/>)");
    while (receiver.nextPicture(500ms)) {
    }
    picture.sendTo(*source);
    EXPECT_FALSE(receiver.nextPicture(1500ms));
}

TEST(Receivers, SeeWhatWasSentAtEverySize) {
    struct Case {
        int width, height, announcedWidth;
    };
    const Case cases[] = {{640, 360, 640}, {1, 1, 16},        {9, 9, 16},
                          {17, 48, 32},    {1366, 768, 1376}, {1000, 49, 1008},
                          {33, 1080, 48},  {8192, 2, 8192},   {1080, 605, 1088}};
    const auto source = openSource();
    TestReceiver receiver(source->port());
    receiver.sayHello();
    receiver.readTexts(3, 2s);
    std::this_thread::sleep_for(50ms);
    for (const auto& c : cases) {
        Picture picture(c.width, c.height, 1, 12);
        picture.sendTo(*source);
        std::optional<testsupport::ReceivedPicture> received;
        do {  // repetitions of the picture before, then better and better ones of this
            received = receiver.nextPicture(2s);
        } while (received &&
                 (received->info.width != static_cast<std::uint32_t>(c.announcedWidth) ||
                  received->info.height != static_cast<std::uint32_t>(c.height) ||
                  received->packet[0] < 98));
        ASSERT_TRUE(received) << c.width << "x" << c.height;
        EXPECT_GT(lumaPsnr(*received, picture), 38) << c.width << "x" << c.height;
        EXPECT_EQ(received->info.rateNumerator, 30000U);
        EXPECT_EQ(received->info.rateDenominator, 1001U);
        EXPECT_EQ(received->info.frameFormat, 1U);
        EXPECT_FLOAT_EQ(received->info.aspect,
                        static_cast<float>(c.announcedWidth) / static_cast<float>(c.height));
        const std::int64_t now = Timekeeper().wallClock();
        EXPECT_NEAR(static_cast<double>(received->info.timestamp), static_cast<double>(now), 5e7);
        EXPECT_NEAR(static_cast<double>(received->info.timecode), static_cast<double>(now), 5e7);
    }
}

TEST(Receivers, GetTheFieldsThatTheCallerGave) {
    const auto source = openSource();
    TestReceiver receiver(source->port());
    receiver.sayHello();
    receiver.readTexts(3, 2s);
    std::this_thread::sleep_for(50ms);
    Picture picture(64, 64);
    auto frame = picture.frame();
    frame.picture_aspect_ratio = 1.5F;
    frame.timecode = 123;
    frame.timestamp = 456;
    frame.frame_format_type = NDIlib_frame_format_type_interleaved;
    frame.p_metadata = "<where/>";
    source->send(&frame);
    const auto received = receiver.nextPicture(2s);
    ASSERT_TRUE(received);
    EXPECT_EQ(received->info.aspect, 1.5F);
    EXPECT_EQ(received->info.timecode, 123);
    EXPECT_EQ(received->info.timestamp, 456);
    EXPECT_EQ(received->info.frameFormat, 0U);
    EXPECT_EQ(received->info.metadata, "<where/>");
}

TEST(Receivers, GetTheLastPictureAtOnceThenBetterOnesThenOneASecond) {
    const auto source = openSource();
    Picture picture(640, 360, 3);
    picture.sendTo(*source);
    std::this_thread::sleep_for(300ms);

    TestReceiver receiver(source->port());
    const auto asked = steady_clock::now();
    receiver.sayHello();
    const auto pictures = receiver.pictures(4500ms);
    ASSERT_GE(pictures.size(), 4U);
    EXPECT_LT(pictures.front().arrival - asked, 300ms);
    EXPECT_GT(lumaPsnr(pictures.front(), picture), 38);
    for (std::size_t i = 1; i < pictures.size(); ++i) {
        const int before = pictures[i - 1].packet[0];
        const int quality = pictures[i].packet[0];
        const auto gap = pictures[i].arrival - pictures[i - 1].arrival;
        EXPECT_GE(quality, before);
        if (quality == before && before == 98 && i > 1 && pictures[i - 2].packet[0] == 98) {
            EXPECT_NEAR(std::chrono::duration<double>(gap).count(), 1.0, 0.3);
        }
    }
    EXPECT_EQ(pictures.back().packet[0], 98);
    EXPECT_LE(pictures.size(), 10U);
    EXPECT_GT(pictures.back().info.timestamp, pictures.front().info.timestamp);
}

TEST(Receivers, SwitchQualityAtAnyTimeEachInItsOwn) {
    const auto source = openSource();
    Picture picture(1280, 720);
    picture.sendTo(*source);
    TestReceiver full(source->port());
    TestReceiver low(source->port());
    full.sayHello();
    low.sayHello(true);
    auto first = full.nextPicture(2s);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->info.width, 1280U);
    first = low.nextPicture(2s);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->info.width, 640U);
    EXPECT_EQ(first->info.height, 360U);
    EXPECT_TRUE(testsupport::decode(*first));

    // In silence, and while pictures flow.
    low.sendText(R"(<ndi_video quality="high"/>)");
    const auto switched = low.nextPicture(2s);
    ASSERT_TRUE(switched);
    EXPECT_EQ(switched->info.width, 1280U);
    Stream stream(*source, 1280, 720);
    full.sendText(R"(<ndi_video quality="low"/>)");
    const auto until = steady_clock::now() + 3s;
    std::uint32_t width = 0;
    while (width != 640 && steady_clock::now() < until) {
        const auto picture2 = full.nextPicture(1s);
        width = picture2 ? picture2->info.width : 0;
    }
    EXPECT_EQ(width, 640U);
}

TEST(Receivers, HearOfEveryTally) {
    const LogFile log;
    const auto source = openSource();
    TestReceiver first(source->port());
    TestReceiver second(source->port());
    first.sayHello(false, "FIRST (viewer)");
    second.sayHello();
    const auto echo = [](const TestReceiver& receiver) {
        return std::get<wire::TallyEchoText>(receiver.texts().back());
    };
    first.readTexts(3, 2s);
    second.readTexts(3, 2s);

    first.sendText(R"(<ndi_tally on_program="true" on_preview="false"/>)");
    second.readTexts(4, 2s);
    EXPECT_TRUE(echo(second).onProgram);
    second.sendText(R"(<ndi_tally on_program="true" on_preview="true"/>)");
    first.readTexts(5, 2s);
    EXPECT_TRUE(echo(first).onProgram);
    EXPECT_TRUE(echo(first).onPreview);
    EXPECT_TRUE(log.says("tally of FIRST (viewer) at 127.0.0.1:"));

    // Who leaves takes its tally along.
    first.vanish();
    second.readTexts(6, 300ms);
    EXPECT_TRUE(echo(second).onProgram) << "the second one has it itself";
    TestReceiver third(source->port());
    third.readTexts(3, 2s);
    EXPECT_TRUE(echo(third).onPreview) << "said on connect";
    second.vanish();
    third.readTexts(4, 2s);
    EXPECT_FALSE(echo(third).onProgram);
    EXPECT_FALSE(echo(third).onPreview);
}

TEST(Receivers, OneThatStallsHurtsNobodyElse) {
    const LogFile log;
    const auto source = openSource();
    TestReceiver good(source->port());
    TestReceiver stalled(source->port(), 4096);
    good.sayHello();
    stalled.sayHello(false, "STALLED (viewer)");
    good.readTexts(3, 2s);
    std::this_thread::sleep_for(100ms);

    Stream stream(*source, 1280, 720);
    const auto undisturbed = good.pictures(300ms);
    const auto received = good.pictures(2s);
    stream.stop();
    const auto rest = good.pictures(500ms);
    const auto all = undisturbed.size() + received.size() + rest.size();
    EXPECT_GE(static_cast<int>(all), stream.sent());
    EXPECT_LE(stream.longestCall(), 500ms);

    // It gets the newest picture when it reads again, not the old ones.
    const auto late = stalled.pictures(1s);
    ASSERT_FALSE(late.empty());
    EXPECT_LT(static_cast<int>(late.size()), stream.sent() / 2);
    EXPECT_TRUE(testsupport::decode(late.back()));
    stalled.vanish();
    EXPECT_TRUE(log.says("STALLED (viewer) at 127.0.0.1:"));
    EXPECT_TRUE(log.says(" by reading too slowly"));
    EXPECT_EQ(log.count("lost 0 by reading too slowly"), 0);
    good.vanish();
    EXPECT_TRUE(log.says("lost 0 by reading too slowly"));
}

/// Each of them while a good receiver watches, who must not miss a picture.
TEST(Receivers, HostileOnesAreSentAwayAloneWithOneLine) {
    const LogFile log;
    SourceParts parts = testParts();
    parts.limits.receiver.handshake = 400ms;
    parts.limits.receiver.stall = 1000ms;
    const auto source = openSource(std::move(parts));
    TestReceiver good(source->port());
    good.sayHello(false, "GOOD (viewer)");
    good.readTexts(3, 2s);
    std::this_thread::sleep_for(50ms);
    // At a pace that the watcher keeps up with on a busy machine.
    Stream stream(*source, 640, 384, 33ms);
    std::thread watcher;
    std::atomic<bool> done{false};
    std::atomic<int> watched{0};
    watcher = std::thread([&] {
        while (!done) {
            watched += good.nextPicture(100ms) ? 1 : 0;
        }
    });

    struct Case {
        const char* what;
        std::string bytes;
        const char* line;
    };
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
    const Case cases[] = {
        {"garbage", noise, "it sent garbage"},
        {"a 4 GiB text", std::string("\x01\x80\x02\0\x08\0\0\0\xff\xff\xff\xff", 12),
         "more data than such a message has"},
        {"half a header", std::string("\x01\x80\x02\0\x08", 5), "it did not say within 400 ms"},
        {"a text that never ends", message("<ndi_video/>").substr(0, 30),
         "it did not say within 400 ms"},
        {"nothing", "", "it did not say within 400 ms"},
        {"an XML bomb",
         message(
             "<!DOCTYPE a [<!ENTITY b \"bb\"><!ENTITY c \"&b;&b;\">]><ndi_video quality=\"&c;\"/>"),
         "it did not say within 400 ms"},
        {"a flood", flood, "more than 100 messages a second"},
    };
    for (const auto& c : cases) {
        TestReceiver hostile(source->port());
        ASSERT_TRUE(hostile.connected());
        hostile.sendBytes(c.bytes.data(), c.bytes.size());
        EXPECT_TRUE(hostile.closedWithin(3s)) << c.what;
        EXPECT_TRUE(log.says(c.line)) << c.what;
    }
    {  // Joins and then reads nothing.
        TestReceiver silent(source->port(), 4096);
        silent.sayHello();
        EXPECT_TRUE(log.says("wants the full picture"));
        for (int i = 0; i < 60 && log.count("it took nothing for 1000 ms") == 0; ++i) {
            std::this_thread::sleep_for(100ms);
        }
        EXPECT_EQ(log.count("it took nothing for 1000 ms"), 1);
    }
    for (int i = 0; i < 20; ++i) {  // Vanish in the middle of a picture.
        TestReceiver vanishing(source->port());
        vanishing.sayHello();
        (void)vanishing.nextPicture(1s);
        vanishing.vanish();
    }
    stream.stop();
    std::this_thread::sleep_for(500ms);
    done = true;
    watcher.join();
    EXPECT_GE(watched, stream.sent());
    good.vanish();
    EXPECT_TRUE(log.says("GOOD (viewer) at "));
    EXPECT_TRUE(log.says("lost 0 by reading too slowly, 0 to our being late"));
}

TEST(Receivers, BeyondTheLimitAreRefusedUnlessSomebodyIdles) {
    const LogFile log;
    SourceParts parts = testParts();
    parts.limits.receivers = 3;
    const auto source = openSource(std::move(parts));
    Picture picture(64, 64);
    picture.sendTo(*source);
    TestReceiver idle(source->port());
    TestReceiver a(source->port());
    a.sayHello();
    TestReceiver b(source->port());
    b.sayHello();
    EXPECT_TRUE(a.nextPicture(2s));
    EXPECT_TRUE(b.nextPicture(2s));
    TestReceiver c(source->port());
    c.sayHello();
    EXPECT_TRUE(c.nextPicture(2s)) << "takes the place of the one that says nothing";
    EXPECT_TRUE(idle.closedWithin(1s));
    TestReceiver d(source->port());
    EXPECT_TRUE(d.closedWithin(1s));
    EXPECT_TRUE(log.says("was refused, there are 3 receivers already"));
    EXPECT_TRUE(a.nextPicture(3s));
    a.vanish();
    EXPECT_TRUE(log.says("receivers now: 2"));
}

}  // namespace
}  // namespace ndi
