// A source as its caller sees it: what is encoded when, pacing, wrong use, and its end.

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <limits>
#include <string>
#include <thread>

#include "ndi/output/frameclock.h"
#include "ndi/output/videoframe.h"
#include "ndi/sendlibrary.h"
#include "support/allocations.h"
#include "support/footprint.h"
#include "unit/ndi/sourcefixture.h"

namespace ndi {
namespace {

using namespace std::chrono_literals;
using tests::eventually;
using tests::sleepFor;

/// What a source had its encoder do.
struct Work {
    std::atomic<int> updates{0}, encoded{0}, repeated{0};
    std::string hinted;  ///< "y" or "n" for each update.

    std::unique_ptr<Source> open() {
        return openSource(testParts([this](HookedEncoder::Call call, const auto& dirty) {
            updates += call == HookedEncoder::Call::Update ? 1 : 0;
            encoded += call == HookedEncoder::Call::Encode ? 1 : 0;
            repeated += call == HookedEncoder::Call::Repeat ? 1 : 0;
            if (call == HookedEncoder::Call::Update) {
                hinted += dirty.known ? "y" : "n";
            }
        }));
    }
};

TEST(FrameClock, KeepsItsGridForHours) {
    FrameClock clock;
    const FrameClock::TimePoint start{5s};
    auto now = start;
    for (int i = 0; i < 30000 * 60; ++i) {
        now = clock.next(now, 30000, 1001);
    }
    EXPECT_EQ(now - start, 60'060s) << "not a nanosecond of drift";
}

TEST(FrameClock, LateCallersNeitherWaitNorBurst) {
    const struct {
        std::chrono::milliseconds asked, goesOn;
        int rate = 50;
    } calls[] = {
        {0ms, 20ms},
        {21ms, 40ms},
        {65ms, 65ms},  // late: nothing to wait for
        {66ms, 80ms},
        {205ms, 205ms},  // late by more: at once, and then up to the next slot only
        {206ms, 220ms},
        {221ms, 240ms},
        {60'003ms, 60'023ms},  // very late, or another rate: a grid of its own
        {60'024ms, 60'064ms, 25},
    };
    FrameClock clock;
    const FrameClock::TimePoint start{10s};
    for (const auto& call : calls) {
        const auto slot = clock.next(start + call.asked, call.rate, 1) - start;
        EXPECT_EQ(std::max<FrameClock::TimePoint::duration>(slot, call.asked), call.goesOn)
            << call.asked.count();
    }
    // Rates without sense neither hang nor overflow.
    const int most = std::numeric_limits<int>::max();
    EXPECT_EQ(clock.next(start, most, 1), start);
    EXPECT_EQ(clock.next(start, 1, most) - start, std::chrono::seconds(most));
}

TEST(Sending, EncodesOnlyWhileReceiversWantVideo) {
    const LogCapture log;
    Work work;
    const auto source = work.open();
    TestImage image(64, 64);
    TestReceiver text(source->port());
    text.sendText(R"(<ndi_enabled_streams video="false" text="true"/>)");
    EXPECT_TRUE(log.says("receivers now: 1"));
    for (int i = 0; i < 10; ++i) {
        image.sendTo(*source);
    }
    sleepFor(1200ms);
    EXPECT_EQ(work.updates, 10);
    EXPECT_EQ(work.encoded + work.repeated, 0);
    Viewer viewer(*source);
    image.sendTo(*source);
    EXPECT_EQ(work.encoded, 1);
    viewer.vanish();
    EXPECT_TRUE(eventually([&] {
        const int before = work.encoded;
        image.sendTo(*source);
        return work.encoded == before;
    }));
    const int repeated = work.repeated;
    sleepFor(1200ms);
    EXPECT_EQ(work.repeated, repeated);
}

TEST(Sending, ExceptionsAreLoggedAndTheStreamGoesOn) {
    const LogCapture log;
    std::atomic<bool> works{false};
    SourceParts parts = testParts([&works](HookedEncoder::Call call, const auto& /*dirty*/) {
        if (call != HookedEncoder::Call::Update && !works) {
            throw std::bad_alloc();
        }
    });
    parts.repeat.interval = parts.repeat.active = 10ms;
    std::atomic<bool> told{false};
    const auto source = Source::open({{"Test", 0},
                                      false,
                                      [&told] {
                                          told = true;
                                          throw std::runtime_error("the I/O thread's turn");
                                      }},
                                     std::move(parts));
    TestImage image(64, 64);
    image.sendTo(*source);
    TestReceiver receiver(source->port());
    receiver.sayHello();
    EXPECT_TRUE(log.says("repeating a frame failed: "));
    image.sendTo(*source);
    EXPECT_TRUE(eventually([&] { return told.load(); }));
    works = true;
    EXPECT_TRUE(eventually([&] {
        image.sendTo(*source);
        return receiver.nextFrame(100ms).has_value();
    }));
    EXPECT_TRUE(log.says("failed and is started anew: the I/O thread's turn"));
}

TEST(Sending, AllocatesNothing) {
    Work work;
    const auto source = work.open();
    TestImage image(64, 64);
    auto frame = image.frame();
    frame.p_metadata = "<a text='longer than any small string optimisation would hold'/>";
    source->send(&frame);
    const Viewer full(*source);
    const Viewer low(*source, "LOW (viewer)", true);
    const support::DirtyRows dirty{true, {{0, 16}, {32, 16}}};
    int before = 0;
    for (int i = 0; i < 200; ++i) {
        before = i == 10 ? tests::allocationsHere() : before;
        source->hint(dirty);
        source->send(&frame);
    }
    EXPECT_EQ(tests::allocationsHere(), before);
    EXPECT_EQ(work.encoded, 200);
}

TEST(Sending, HintsHoldForOneFrameOfTheSameShape) {
    Work work;
    const auto source = work.open();
    TestImage image(64, 64);
    TestImage other(64, 32);
    const auto send = [&](TestImage& what) {
        source->hint({true, {{8, 4}}});
        what.sendTo(*source);
    };
    send(image);  // the first one: no frame to compare with
    send(image);
    image.sendTo(*source);
    send(image);
    send(other);  // another shape
    send(other);
    source->hint({true, {}});
    source->send(nullptr);  // its change is not in any frame that was taken
    send(other);
    send(other);
    EXPECT_EQ(work.hinted, "nynynyny");
}

TEST(Sending, FramesThatMakeNoSenseAreIgnoredWithALine) {
    using Frame = NDIlib_video_frame_v2_t;
    const std::pair<const char*, void (*)(Frame&)> cases[] = {
        {"no data", [](Frame& f) { f.p_data = nullptr; }},
        {"0x64", [](Frame& f) { f.xres = 0; }},
        {"64x-1", [](Frame& f) { f.yres = -1; }},
        {"8193x64", [](Frame& f) { f.xres = 8193; }},
        {"0x31323334", [](Frame& f) { f.FourCC = static_cast<NDIlib_FourCC_type_e>(0x31323334); }},
        {"255 bytes, 64 pixels need 256", [](Frame& f) { f.line_stride_in_bytes = 255; }},
        {"-256 bytes", [](Frame& f) { f.line_stride_in_bytes = -256; }},
        {"0/1001", [](Frame& f) { f.frame_rate_N = 0; }},
        {"30000/-1", [](Frame& f) { f.frame_rate_D = -1; }},
    };
    TestImage image(64, 64);
    auto frame = image.frame();
    for (const auto& [field, spoil] : cases) {
        frame = image.frame();
        spoil(frame);
        speedhq::FrameView view;
        EXPECT_THAT(checkFrame(&frame, view), testing::HasSubstr(field));
    }
    const LogCapture log;
    const auto source = openSource();
    for (int i = 0; i < 100; ++i) {
        source->send(&frame);
    }
    EXPECT_EQ(log.count("a frame was not sent"), 1) << log.text();
}

/// Frames by number, repeats negative; what waits afterwards, and how many were dropped.
TEST(WaitingFrames, TheNewestTwoInTheirOrderAndOneOfEach) {
    const struct {
        std::vector<int> pushed, waiting;
        int dropped;
    } cases[] = {
        {{1, 2}, {1, 2}, 0},   {{1, 2, 3, 4}, {3, 4}, 2},
        {{1, -1}, {1}, 0},  // better quality of a new frame: still new
        {{-1, -1, 2}, {2}, 0}, {{-1, 2, -2, 3}, {2, 3}, 0},
    };
    for (const auto& c : cases) {
        WaitingFrames waiting;
        int dropped = 0;
        for (const int number : c.pushed) {
            auto packet = std::make_shared<speedhq::EncodedFrame>();
            packet->quality = std::abs(number);
            dropped += waiting.push({{}, packet, number < 0, Audience::All}) ? 1 : 0;
        }
        EXPECT_EQ(dropped, c.dropped);
        std::vector<int> left;
        for (const OutgoingFrame& frame : waiting) {
            left.push_back(frame.repeat ? -frame.packet->quality : frame.packet->quality);
        }
        EXPECT_EQ(left, c.waiting);
        while (!waiting.empty()) {
            EXPECT_NE(waiting.pop().packet, nullptr);
        }
    }
}

TEST(Source, SaysWhenThereIsNoPort) {
    const LogCapture log;
    const auto first = openSource();
    SourceParts parts = testParts();
    parts.limits.firstPort = parts.limits.lastPort = first->port();
    EXPECT_FALSE(openSource(std::move(parts)));
    EXPECT_TRUE(log.says(first->instance() + " not created: every TCP port from"));
    EXPECT_TRUE(TestReceiver(first->port()).connected()) << "the port is still its owner's";
}

/// The C interface's calls on the built-in output.
class BuiltIn : public testing::Test {
protected:
    NDIlib_send_instance_t create(const char* name) {
        const NDIlib_send_create_t settings{name, nullptr, true, true};
        return m_library->create(&settings);
    }

    const LogCapture m_log;
    std::atomic<mdns::AnnounceResult> m_announce{mdns::AnnounceResult::Established};
    std::unique_ptr<SendLibrary> m_library = makeBuiltInLibrary([this] {
        SourceParts parts = testParts();
        parts.announce = [this](const std::string&, std::uint16_t, const mdns::AnnounceOptions&) {
            return mdns::AnnounceOutcome{m_announce, std::make_unique<NoAnnouncement>(),
                                         "no network"};
        };
        return parts;
    });
};

TEST_F(BuiltIn, WrongUseIsAnsweredWithALine) {
    EXPECT_EQ(m_library->create(nullptr), nullptr);
    EXPECT_TRUE(m_log.says("no settings given"));
    EXPECT_EQ(create(nullptr), nullptr);
    EXPECT_EQ(create(""), nullptr);
    EXPECT_EQ(create("  "), nullptr);
    EXPECT_EQ(m_log.count("no name given"), 3);

    TestImage image(16, 16);
    const auto frame = image.frame();
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
    m_announce = mdns::AnnounceResult::NameTaken;
    EXPECT_EQ(create("Cam"), nullptr);
    EXPECT_TRUE(m_log.says("the name is in use on the network"));
    m_announce = mdns::AnnounceResult::Failed;
    EXPECT_NE(create("Cam"), nullptr);
    EXPECT_TRUE(m_log.says("is not announced, receivers can connect by address only"));
}

TEST_F(BuiltIn, WithoutDescriptorsNoSourceIsCreated) {
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
    // It needs three for its thread and one for a protocol; both are better.
    int refusals = 0;
    for (; create("Starved") == nullptr && refusals < 20; ++refusals) {
        ::close(used.back());
        used.pop_back();
    }
    for (const int file : used) {
        ::close(file);
    }
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(refusals, 4);
    EXPECT_EQ(m_log.count("listening on one IP version only"), 1);
    EXPECT_EQ(m_log.count("not created: "), refusals);
}

TEST_F(BuiltIn, DestroyEndsACallThatWaitsForItsSlot) {
    const auto instance = create("Slow");
    TestImage image(16, 16);
    auto frame = image.frame();
    frame.frame_rate_N = 1;
    frame.frame_rate_D = 3600;  // a frame an hour
    std::atomic<bool> returned{false};
    std::thread sender([&] {
        m_library->send(instance, &frame);
        returned = true;
    });
    sleepFor(200ms);
    EXPECT_FALSE(returned);
    std::thread other([&] { m_library->destroy(instance); });
    m_library->destroy(instance);
    other.join();
    EXPECT_TRUE(eventually([&] { return returned.load(); }));
    sender.join();
}

TEST_F(BuiltIn, DestroyWhileOthersSendAndReceive) {
    for (int round = 0; round < 10; ++round) {
        const auto instance = create("Busy");
        ASSERT_NE(instance, nullptr);
        std::atomic<bool> stop{false};
        const auto send = [&] {
            TestImage image(64, 64);
            auto frame = image.frame();
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
        EXPECT_TRUE(receiver.nextFrame());
        m_library->destroy(instance);
        EXPECT_TRUE(receiver.isClosed());
        stop = true;
        for (auto& sender : senders) {
            sender.join();
        }
    }
}

TEST_F(BuiltIn, ManyLivesLeaveNothingBehind) {
    const auto live = [&](int times) {
        for (int i = 0; i < times; ++i) {
            const auto instance = create("Again");
            ASSERT_NE(instance, nullptr);
            m_library->destroy(instance);
        }
    };
    live(3);
    const auto before = tests::Footprint::of();
    live(1000);
    EXPECT_TRUE(eventually([&] {
        const auto now = tests::Footprint::of();
        return now.files <= before.files && now.threads <= before.threads;
    })) << tests::Footprint::of().describe();
}

}  // namespace
}  // namespace ndi
