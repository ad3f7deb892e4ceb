// A source as its caller sees it: what is encoded when, pacing, wrong use, and its end.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <limits>
#include <string>
#include <thread>

#include "ndi/output/frameclock.h"
#include "ndi/sendlibrary.h"
#include "ndi/wire/sourcename.h"
#include "support/allocations.h"
#include "support/logfile.h"
#include "unit/ndi/sourcefixture.h"

namespace ndi {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using testsupport::LogFile;

/// Writes down what it was asked for, always with the same packet, and allocates nothing.
class CountingEncoder : public PictureEncoder {
public:
    struct Log {
        std::atomic<int> kept{0}, encoded{0}, again{0};
        std::vector<bool> hinted;
    };

    explicit CountingEncoder(Log& log) : m_log(log) {
        log.hinted.reserve(1000);
        auto packet = std::make_shared<EncodedPicture>();
        packet->width = packet->height = 64;
        packet->data = m_bytes.data();
        packet->size = m_bytes.size();
        m_packet = packet;
    }
    void keep(const PictureView& /*picture*/, const support::ChangedRows& changed) override {
        ++m_log.kept;
        m_log.hinted.push_back(changed.known && changed.spans.size() == 1);
    }
    EncodedStreams encode(const PictureView& /*picture*/, const support::ChangedRows& /*changed*/,
                          Streams wanted) override {
        ++m_log.encoded;
        return packets(wanted);
    }
    EncodedStreams encodeKept(Streams wanted) override {
        ++m_log.again;
        return packets(wanted);
    }

private:
    [[nodiscard]] EncodedStreams packets(Streams wanted) const {
        return {wanted.full ? m_packet : nullptr, wanted.preview ? m_packet : nullptr};
    }

    Log& m_log;
    const std::vector<std::uint8_t> m_bytes = std::vector<std::uint8_t>(50'000, 7);
    EncodedPicturePtr m_packet;
};

std::unique_ptr<Source> openCounted(CountingEncoder::Log& log) {
    SourceParts parts = testParts();
    parts.encoder = std::make_unique<CountingEncoder>(log);
    return openSource(std::move(parts));
}

/// Time that passes only when somebody waits.
class FakeTime : public Timekeeper {
public:
    TimePoint now() override { return m_now; }
    std::int64_t wallClock() override { return 42; }
    void waitUntil(TimePoint when) override { m_now = when; }
    void release() override {}
    void pass(std::chrono::nanoseconds time) { m_now += time; }

private:
    TimePoint m_now{1000s};
};

TEST(FrameClock, KeepsItsGridForHours) {
    FrameClock clock;
    const FrameClock::TimePoint start{5s};
    auto now = clock.next(start, 30000, 1001);
    EXPECT_EQ(now - start, std::chrono::nanoseconds(33'366'666));
    for (int i = 1; i < 30000 * 60; ++i) {
        now = clock.next(now, 30000, 1001);
    }
    EXPECT_EQ(now - start, 60'060s) << "not a nanosecond of drift";
}

TEST(FrameClock, LateCallersNeitherWaitNorBurst) {
    FrameClock clock;
    const FrameClock::TimePoint start{10s};
    EXPECT_EQ(clock.next(start, 50, 1) - start, 20ms);
    // Early and slightly late callers stay on the grid.
    EXPECT_EQ(clock.next(start + 21ms, 50, 1) - start, 40ms);
    EXPECT_EQ(clock.next(start + 65ms, 50, 1) - start, 60ms) << "late: nothing to wait for";
    EXPECT_EQ(clock.next(start + 66ms, 50, 1) - start, 80ms);
    // 110 ms late: at once, and then only up to the next slot.
    EXPECT_LE(clock.next(start + 205ms, 50, 1) - start, 205ms);
    EXPECT_EQ(clock.next(start + 206ms, 50, 1) - start, 220ms);
    EXPECT_EQ(clock.next(start + 221ms, 50, 1) - start, 240ms);
    // Very late: a grid of its own.
    EXPECT_EQ(clock.next(start + 60s + 3ms, 50, 1) - start, 60s + 23ms);
    // Another rate: too.
    EXPECT_EQ(clock.next(start + 60s + 24ms, 25, 1) - start, 60s + 64ms);
    // Rates without sense neither hang nor overflow.
    const int most = std::numeric_limits<int>::max();
    EXPECT_EQ(clock.next(start, most, 1), start);
    EXPECT_EQ(clock.next(start, 1, most) - start, std::chrono::seconds(most));
}

TEST(Sending, IsPacedByTheAnnouncedRate) {
    SourceParts parts = testParts();
    auto time = std::make_unique<FakeTime>();
    FakeTime& clock = *time;
    parts.time = std::move(time);
    const auto source = openSource(std::move(parts), true);
    Picture picture(16, 16);
    const auto start = clock.now();
    for (int i = 0; i < 30; ++i) {
        picture.sendTo(*source);
        clock.pass(5ms);
    }
    EXPECT_EQ(clock.now() - start, 1001ms + 5ms);

    const auto unclocked = Source::open({"Unclocked", false}, testParts());
    const auto before = steady_clock::now();
    for (int i = 0; i < 50; ++i) {
        picture.sendTo(*unclocked);
    }
    EXPECT_LT(steady_clock::now() - before, 500ms);
}

TEST(Sending, EncodesOnlyForThoseWhoWatch) {
    CountingEncoder::Log log;
    const auto source = openCounted(log);
    Picture picture(64, 64);
    picture.sendTo(*source);
    TestReceiver text(source->port());
    text.sendText(R"(<ndi_enabled_streams video="false" text="true"/>)");
    text.readTexts(3, 2s);
    for (int i = 0; i < 10; ++i) {
        picture.sendTo(*source);
    }
    std::this_thread::sleep_for(1200ms);
    EXPECT_EQ(log.kept, 11);
    EXPECT_EQ(log.encoded + log.again, 0);
    Viewer viewer(*source);
    EXPECT_TRUE(viewer.nextPicture(2s));
    picture.sendTo(*source);
    EXPECT_EQ(log.encoded, 1);
    viewer.vanish();
    std::this_thread::sleep_for(300ms);
    const int again = log.again;
    picture.sendTo(*source);
    std::this_thread::sleep_for(1200ms);
    EXPECT_EQ(log.encoded, 1);
    EXPECT_EQ(log.again, again);
}

TEST(Sending, AllocatesNothing) {
    CountingEncoder::Log log;
    const auto source = openCounted(log);
    Viewer full(*source);
    Viewer low(*source, "LOW (viewer)", 0, true);
    Picture picture(64, 64);
    auto frame = picture.frame();
    frame.p_metadata = "<a text='longer than any small string optimisation would hold'/>";
    const support::ChangedRows changed{true, {{0, 16}, {32, 16}}};
    int before = 0;
    for (int i = 0; i < 200; ++i) {
        before = i == 10 ? testsupport::allocationsHere() : before;
        source->hint(changed);
        source->send(&frame);
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_EQ(testsupport::allocationsHere(), before);
    EXPECT_TRUE(full.nextPicture(2s));
    EXPECT_TRUE(low.nextPicture(2s));
}

TEST(Sending, HintsHoldForOnePictureOfTheSameShape) {
    CountingEncoder::Log log;
    const auto source = openCounted(log);
    Picture picture(64, 64);
    Picture other(64, 32);
    const auto send = [&](Picture& what, bool hinted) {
        if (hinted) {
            source->hint({true, {{8, 4}}});
        }
        what.sendTo(*source);
    };
    send(picture, true);   // the first one: no picture to compare with
    send(picture, true);   // known
    send(picture, false);  // unknown
    send(picture, true);   // known
    send(other, true);     // another shape
    send(other, true);     // known
    source->hint({true, {}});
    source->send(nullptr);  // its change is not in any picture that was taken
    send(other, true);
    send(other, true);  // known
    EXPECT_EQ(log.hinted, (std::vector{false, true, false, true, false, true, false, true}));
}

TEST(Sending, FramesThatMakeNoSenseAreIgnoredWithALine) {
    using Frame = NDIlib_video_frame_v2_t;
    const struct {
        const char* line;
        void (*spoil)(Frame&);
    } cases[] = {
        {"the frame has no data", [](Frame& f) { f.p_data = nullptr; }},
        {"its size is 0x64", [](Frame& f) { f.xres = 0; }},
        {"its size is 64x-1", [](Frame& f) { f.yres = -1; }},
        {"its size is 8193x64", [](Frame& f) { f.xres = 8193; }},
        {"its pixel format 0x31323334 is none of",
         [](Frame& f) { f.FourCC = static_cast<NDIlib_FourCC_type_e>(0x31323334); }},
        {"its rows are 255 bytes apart, 64 pixels need 256",
         [](Frame& f) { f.line_stride_in_bytes = 255; }},
        {"its rows are -256 bytes apart", [](Frame& f) { f.line_stride_in_bytes = -256; }},
        {"its frame rate is 0/1001", [](Frame& f) { f.frame_rate_N = 0; }},
        {"its frame rate is 30000/-1", [](Frame& f) { f.frame_rate_D = -1; }},
    };
    Picture picture(64, 64);
    for (const auto& c : cases) {
        const LogFile log;
        const auto source = openSource();
        auto frame = picture.frame();
        c.spoil(frame);
        for (int i = 0; i < 100; ++i) {
            source->send(&frame);
        }
        EXPECT_EQ(log.count(c.line), 1) << c.line << " in " << log.text();
    }
}

TEST(Sending, TakesEveryPixelFormat) {
    const auto source = openSource();
    Viewer receiver(*source);
    // A flat colour: Y 81, Cb 90, Cr 200 by the matrix of small pictures.
    std::vector<std::uint8_t> bgr;
    std::vector<std::uint8_t> uyvy;
    for (int i = 0; i < 64 * 64; ++i) {
        bgr.insert(bgr.end(), {0, 12, 190, static_cast<std::uint8_t>(i)});
        uyvy.insert(uyvy.end(), {static_cast<std::uint8_t>(i % 2 == 0 ? 97 : 208), 72});
    }
    Picture picture(64, 64);
    for (const auto format :
         {NDIlib_FourCC_type_BGRA, NDIlib_FourCC_type_BGRX, NDIlib_FourCC_type_UYVY}) {
        auto frame = picture.frame();
        frame.FourCC = format;
        frame.p_data = format == NDIlib_FourCC_type_UYVY ? uyvy.data() : bgr.data();
        frame.line_stride_in_bytes = 0;
        source->send(&frame);
        const auto received = receiver.nextPicture(2s);
        ASSERT_TRUE(received);
        const auto decoded = testsupport::decode(*received);
        ASSERT_TRUE(decoded);
        EXPECT_NEAR(decoded->luma[100], 72, 2);
        EXPECT_NEAR(decoded->cb[100], 97, 2);
        EXPECT_NEAR(decoded->cr[100], 208, 2);
    }
}

TEST(Source, TakesTheNextFreePortAndSaysWhenThereIsNone) {
    const LogFile log;
    SourceParts parts = testParts();
    const auto first = openSource(testParts());
    parts.limits.firstPort = first->port();
    const auto second = Source::open({"Second", false}, std::move(parts));
    ASSERT_TRUE(second);
    EXPECT_GT(second->port(), first->port());
    parts = testParts();
    parts.limits.firstPort = parts.limits.lastPort = first->port();
    EXPECT_FALSE(Source::open({"Third", false}, std::move(parts)));
    EXPECT_TRUE(log.says("source " + wire::instanceName(wire::machineName(), "Third") +
                         " was not made: every TCP port from"));
    EXPECT_TRUE(TestReceiver(first->port()).connected()) << "the port is still its owner's";
}

/// The C interface's calls on the built-in output.
class BuiltIn : public testing::Test {
protected:
    NDIlib_send_instance_t create(const char* name) {
        const NDIlib_send_create_t settings{name, nullptr, true, true};
        return m_library->create(&settings);
    }

    const LogFile m_log;
    std::atomic<AnnounceResult> m_announce{AnnounceResult::Established};
    std::unique_ptr<SendLibrary> m_library = makeBuiltInLibrary([this] {
        SourceParts parts = testParts();
        parts.announce = [this](const std::string&, std::uint16_t) {
            return AnnounceOutcome{m_announce, std::make_unique<NoAnnouncement>(), "no network"};
        };
        return parts;
    });
};

TEST_F(BuiltIn, WrongUseIsAnsweredWithALine) {
    EXPECT_EQ(m_library->create(nullptr), nullptr);
    EXPECT_TRUE(m_log.says("it was given no settings"));
    EXPECT_EQ(create(nullptr), nullptr);
    EXPECT_EQ(create(""), nullptr);
    EXPECT_EQ(create("  "), nullptr);
    EXPECT_EQ(m_log.count("it was given no name"), 3);

    Picture picture(16, 16);
    const auto frame = picture.frame();
    m_library->send(nullptr, &frame);
    EXPECT_TRUE(m_log.says("NDIlib_send_send_video_v2 was called with no source"));
    const auto instance = create("One");
    ASSERT_NE(instance, nullptr);
    EXPECT_EQ(create("One"), nullptr) << "taken by ourselves";
    m_library->send(instance, nullptr);
    EXPECT_TRUE(m_log.says("no frame was given"));
    m_library->destroy(instance);
    m_library->destroy(instance);
    m_library->send(instance, &frame);
    m_library->hint(instance, {});
    const auto again = create("One");
    EXPECT_NE(again, nullptr);
    EXPECT_NE(again, instance) << "an old handle is never a new source";
}

TEST_F(BuiltIn, ATakenNameFailsAndAMissingNetworkDoesNot) {
    m_announce = AnnounceResult::NameTaken;
    EXPECT_EQ(create("Cam"), nullptr);
    EXPECT_TRUE(m_log.says("the name is in use on the network"));
    m_announce = AnnounceResult::Failed;
    EXPECT_NE(create("Cam"), nullptr);
    EXPECT_TRUE(m_log.says("can be reached by address only"));
    EXPECT_TRUE(m_log.says("announcing it failed: no network"));
}

TEST_F(BuiltIn, WithoutDescriptorsNoSourceIsMade) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizers themselves need descriptors";
#endif
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit tight{256, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &tight), 0);
    std::vector<int> used;
    for (int file = ::dup(0); file >= 0; file = ::dup(0)) {
        used.push_back(file);
    }
    // A source needs three for its thread and one for each protocol.
    for (int spare = 0; spare < 5; ++spare) {
        EXPECT_EQ(create("Starved"), nullptr) << spare;
        ASSERT_FALSE(used.empty());
        ::close(used.back());
        used.pop_back();
    }
    const auto instance = create("Starved");
    for (const int file : used) {
        ::close(file);
    }
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_NE(instance, nullptr);
    EXPECT_EQ(m_log.count("Starved) was not made: ") + m_log.count("Starved was not made: "), 5);
}

TEST_F(BuiltIn, DestroyEndsACallThatWaitsForItsSlot) {
    const auto instance = create("Slow");
    Picture picture(16, 16);
    auto frame = picture.frame();
    frame.frame_rate_N = 1;
    frame.frame_rate_D = 60;  // a picture a minute
    std::atomic<bool> returned{false};
    std::thread sender([&] {
        m_library->send(instance, &frame);
        returned = true;
    });
    std::this_thread::sleep_for(200ms);
    EXPECT_FALSE(returned);
    const auto before = steady_clock::now();
    std::thread other([&] { m_library->destroy(instance); });
    m_library->destroy(instance);
    other.join();
    EXPECT_TRUE(returned) << "no call is inside any more";
    EXPECT_LT(steady_clock::now() - before, 5s);
    sender.join();
}

TEST_F(BuiltIn, DestroyWhileOthersSendAndWatch) {
    for (int round = 0; round < 10; ++round) {
        const auto instance = create("Busy");
        ASSERT_NE(instance, nullptr);
        std::atomic<bool> stop{false};
        const auto send = [&] {
            Picture picture(64, 64);
            auto frame = picture.frame();
            frame.frame_rate_N = 1'000'000;
            while (!stop) {
                m_library->hint(instance, {});
                m_library->send(instance, &frame);
            }
        };
        std::thread senders[] = {std::thread(send), std::thread(send), std::thread(send)};
        const std::string text = m_log.text();
        TestReceiver receiver(
            static_cast<std::uint16_t>(std::stoi(text.substr(text.rfind("port ") + 5))));
        receiver.sayHello();
        EXPECT_TRUE(receiver.nextPicture(2s));
        m_library->destroy(instance);
        EXPECT_TRUE(receiver.closedWithin(2s));
        stop = true;
        for (auto& sender : senders) {
            sender.join();
        }
    }
}

TEST_F(BuiltIn, ManyLivesLeaveNothingBehind) {
    const auto entriesOf = [](const char* folder) {
        return std::distance(std::filesystem::directory_iterator(folder), {});
    };
    const auto live = [&](int times) {
        for (int i = 0; i < times; ++i) {
            const auto instance = create("Again");
            ASSERT_NE(instance, nullptr);
            m_library->destroy(instance);
        }
    };
    live(3);
    const auto files = entriesOf("/proc/self/fd");
    const auto threads = entriesOf("/proc/self/task");
    live(1000);
    EXPECT_EQ(entriesOf("/proc/self/fd"), files);
    EXPECT_EQ(entriesOf("/proc/self/task"), threads);
}

}  // namespace
}  // namespace ndi
