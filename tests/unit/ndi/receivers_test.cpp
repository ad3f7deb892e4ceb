// A source as its receivers see it: real sockets on loopback, well-behaved and hostile receivers.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <variant>

#include "support/logfile.h"
#include "unit/ndi/sourcefixture.h"

namespace ndi {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using testsupport::LogFile;

/// Sends moving pictures until it is stopped.
class Stream {
public:
    Stream(Source& source, int width, int height, Milliseconds pause = 10ms)
        : m_thread([this, &source, width, height, pause] {
              Picture pictures[] = {Picture(width, height, 0), Picture(width, height, 1)};
              for (; !m_stop; std::this_thread::sleep_for(pause)) {
                  const auto before = steady_clock::now();
                  pictures[m_sent++ % 2].sendTo(source);
                  m_longest = std::max(m_longest, steady_clock::now() - before);
              }
          }) {}
    ~Stream() { stop(); }

    void stop() {
        m_stop = true;
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
    // Both once it has stopped.
    [[nodiscard]] int sent() const { return m_sent; }
    [[nodiscard]] steady_clock::duration longestCall() const { return m_longest; }

private:
    std::atomic<bool> m_stop{false};
    int m_sent = 0;
    steady_clock::duration m_longest{0};
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
    EXPECT_EQ(std::tuple(version.text, version.video, version.audio), std::tuple(2, 3, 2));
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
    const auto source = openSource();
    Viewer receiver(*source);
    const std::pair<int, int> sizes[] = {{640, 360}, {1, 1},     {9, 9},    {17, 48},   {1366, 768},
                                         {1000, 49}, {33, 1080}, {8192, 2}, {1080, 605}};
    for (const auto& [width, height] : sizes) {
        SCOPED_TRACE(testing::Message() << width << "x" << height);
        Picture picture(width, height, 1, 12);
        picture.sendTo(*source);
        const int coded = (width + 15) / 16 * 16;
        std::optional<testsupport::ReceivedPicture> received;
        do {  // repetitions of the picture before, then better and better ones of this
            received = receiver.nextPicture(2s);
        } while (received && (received->info.width != static_cast<std::uint32_t>(coded) ||
                              received->info.height != static_cast<std::uint32_t>(height) ||
                              received->packet[0] < 98));
        ASSERT_TRUE(received);
        EXPECT_GT(lumaPsnr(*received, picture), 38);
        const auto& info = received->info;
        EXPECT_EQ(std::tuple(info.rateNumerator, info.rateDenominator, info.frameFormat),
                  std::tuple(30000U, 1001U, 1U));
        EXPECT_FLOAT_EQ(info.aspect, static_cast<float>(coded) / static_cast<float>(height));
        const auto now = static_cast<double>(Timekeeper().wallClock());
        EXPECT_NEAR(static_cast<double>(info.timestamp), now, 5e7);
        EXPECT_NEAR(static_cast<double>(info.timecode), now, 5e7);
    }
    // And what the caller says about it.
    Picture picture(64, 64);
    auto frame = picture.frame();
    frame.picture_aspect_ratio = 1.5F;
    frame.timecode = 123;
    frame.timestamp = 456;
    frame.frame_format_type = NDIlib_frame_format_type_interleaved;
    frame.p_metadata = "<where/>";
    source->send(&frame);
    wire::VideoInfo info;
    while (info.width != 64) {
        const auto received = receiver.nextPicture(2s);
        ASSERT_TRUE(received);
        info = received->info;
    }
    EXPECT_EQ(
        std::tuple(info.aspect, info.timecode, info.timestamp, info.frameFormat, info.metadata),
        std::tuple(1.5F, 123, 456, 0U, "<where/>"));
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
        const auto gap = pictures[i].arrival - pictures[i - 1].arrival;
        EXPECT_GE(pictures[i].packet[0], pictures[i - 1].packet[0]);
        if (i > 1 && pictures[i - 2].packet[0] == 98) {
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
    Viewer full(*source);
    Viewer low(*source, "LOW (viewer)", 0, true);
    const auto nextSize = [](TestReceiver& receiver) {
        const auto next = receiver.nextPicture(2s);
        return next && testsupport::decode(*next) ? std::pair(next->info.width, next->info.height)
                                                  : std::pair(0U, 0U);
    };
    EXPECT_EQ(nextSize(full), std::pair(1280U, 720U));
    EXPECT_EQ(nextSize(low), std::pair(640U, 360U));
    const auto gets = [&](TestReceiver& receiver, std::pair<unsigned, unsigned> size) {
        const auto until = steady_clock::now() + 3s;
        while (steady_clock::now() < until) {
            if (nextSize(receiver) == size) {
                return true;
            }
        }
        return false;
    };
    // In silence, and while pictures flow.
    low.sendText(R"(<ndi_video quality="high"/>)");
    EXPECT_TRUE(gets(low, {1280, 720}));
    Stream stream(*source, 1280, 720);
    full.sendText(R"(<ndi_video quality="low"/>)");
    EXPECT_TRUE(gets(full, {640, 360}));
}

TEST(Receivers, HearOfEveryTally) {
    const LogFile log;
    const auto source = openSource();
    Viewer first(*source, "FIRST (viewer)");
    Viewer second(*source);
    const auto echo = [](const TestReceiver& receiver) {
        const auto tally = std::get<wire::TallyEchoText>(receiver.texts().back());
        return std::pair(tally.onProgram, tally.onPreview);
    };
    first.sendText(R"(<ndi_tally on_program="true" on_preview="false"/>)");
    second.readTexts(4, 2s);
    EXPECT_EQ(echo(second), std::pair(true, false));
    second.sendText(R"(<ndi_tally on_program="true" on_preview="true"/>)");
    first.readTexts(5, 2s);
    EXPECT_EQ(echo(first), std::pair(true, true));
    EXPECT_TRUE(log.says("tally of FIRST (viewer) at 127.0.0.1:"));

    // Who leaves takes its tally along.
    first.vanish();
    second.readTexts(6, 300ms);
    EXPECT_TRUE(echo(second).first) << "the second one has it itself";
    TestReceiver third(source->port());
    third.readTexts(3, 2s);
    EXPECT_EQ(echo(third), std::pair(true, true)) << "said on connect";
    second.vanish();
    third.readTexts(4, 2s);
    EXPECT_EQ(echo(third), std::pair(false, false));
}

TEST(Receivers, OneThatStallsHurtsNobodyElse) {
    const LogFile log;
    const auto source = openSource();
    Viewer good(*source);
    Viewer stalled(*source, "STALLED (viewer)", 4096);

    Stream stream(*source, 1280, 720);
    const auto received = good.pictures(2300ms);
    stream.stop();
    const auto rest = good.pictures(500ms);
    EXPECT_GE(static_cast<int>(received.size() + rest.size()), stream.sent());
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
    Viewer good(*source, "GOOD (viewer)");
    // At a pace that the watcher keeps up with on a busy machine.
    Stream stream(*source, 640, 384, 33ms);
    std::atomic<bool> done{false};
    std::atomic<int> watched{0};
    std::thread watcher([&] {
        while (!done) {
            watched += good.nextPicture(100ms) ? 1 : 0;
        }
    });

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
        hostile.sendBytes(c.bytes.data(), c.bytes.size());
        EXPECT_TRUE(hostile.closedWithin(3s)) << c.what;
        EXPECT_TRUE(log.says(c.line)) << c.what;
    }
    const Viewer silent(*source, "SILENT (viewer)", 4096);  // Reads nothing.
    for (int i = 0; i < 60 && log.count("it took nothing for 1000 ms") == 0; ++i) {
        std::this_thread::sleep_for(100ms);
    }
    EXPECT_EQ(log.count("it took nothing for 1000 ms"), 1);
    for (int i = 0; i < 20; ++i) {  // Vanish in the middle of a picture.
        Viewer vanishing(*source);
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
    Viewer a(*source);
    Viewer b(*source);
    EXPECT_TRUE(a.nextPicture(2s));
    EXPECT_TRUE(b.nextPicture(2s));
    Viewer c(*source);
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
