// What a source reports about itself, and what it does when its name is lost.

#include <condition_variable>
#include <future>
#include <mutex>
#include <set>
#include <thread>

#include "ndi/sendlibrary.h"
#include "ndi/wire/sourcename.h"
#include "unit/ndi/sourcefixture.h"

namespace ndi {
namespace {

using namespace std::chrono_literals;
using tests::eventually;

TEST(Status, NamesEveryReceiverAndWhatItWasSent) {
    std::atomic<int> changes{0};
    const auto source =
        Source::open({{"Test", 0}, false, {}, [&changes] { ++changes; }}, testParts());
    TestImage image(320, 192);
    image.sendTo(*source);
    SourceStatus status = source->status();
    EXPECT_TRUE(status.known && status.receivers.empty());
    EXPECT_EQ(status.name, wire::instanceName(wire::machineName(), "Test"));
    EXPECT_EQ(status.sourceName, "Test");
    EXPECT_EQ(status.announceState, AnnounceState::Announced);
    EXPECT_EQ(status.sentFrames, 1U);

    Viewer viewer(*source, "DESK (viewer)");
    const Viewer preview(*source, "ROOM (viewer)", true);
    const TestReceiver silent(source->port());
    viewer.sendText(R"(<ndi_tally on_program="true" on_preview="false"/>)");
    // The data rates are measured once a second.
    EXPECT_TRUE(eventually([&] {
        image.sendTo(*source);
        status = source->status();
        return status.megabitsPerSecond > 0 && status.framesPerSecond > 0 && status.onProgram;
    }));
    ASSERT_EQ(status.receivers.size(), 2U) << "one that asked for nothing is no receiver";
    const ReceiverStatus& first = status.receivers[0];
    EXPECT_EQ(first.name, "DESK (viewer)");
    EXPECT_EQ(first.address.rfind("127.0.0.1:", 0), 0U);
    EXPECT_EQ(first.stream, StreamChoice::Main);
    EXPECT_TRUE(first.onProgram && !first.onPreview);
    EXPECT_GT(first.sentFrames, 0U);
    EXPECT_GT(first.sentBytes, first.sentFrames * 100);
    EXPECT_LT(std::chrono::system_clock::now() - first.connectedSince, 60s);
    EXPECT_EQ(status.receivers[1].stream, StreamChoice::Preview);
    EXPECT_FALSE(status.onPreview);

    const int before = changes;
    EXPECT_GT(before, 0);
    viewer.vanish();
    EXPECT_TRUE(eventually([&] { return source->status().receivers.size() == 1; }));
    EXPECT_TRUE(eventually([&] { return changes > before; })) << "the listener is told";
    EXPECT_FALSE(source->status().onProgram);
}

/// Stops within encode() until it is released.
class HeldEncoder : public speedhq::FrameEncoder {
public:
    HeldEncoder(std::promise<void>& entered, std::future<void> release)
        : m_entered(entered), m_release(std::move(release)) {}

    void updateReference(const speedhq::FrameView&, const support::DirtyRows&) override {
        m_entered.set_value();
        m_release.wait();
    }
    speedhq::EncodedStreams encode(const speedhq::FrameView&, const support::DirtyRows&,
                                   speedhq::Streams) override {
        return {};
    }
    speedhq::EncodedStreams encodeReference(speedhq::Streams) override { return {}; }

private:
    std::promise<void>& m_entered;
    std::future<void> m_release;
};

TEST(Status, DoesNotWaitForASend) {
    std::promise<void> entered;
    std::promise<void> release;
    SourceParts parts = testParts();
    parts.encoder = std::make_unique<HeldEncoder>(entered, release.get_future());
    const auto library = makeBuiltInLibrary([&] { return std::move(parts); });
    const NDIlib_send_create_t settings{"Held", nullptr, false, false};
    const auto instance = library->create(&settings);
    ASSERT_NE(instance, nullptr);
    TestImage image(64, 64);
    std::thread sender([&] {
        const auto frame = image.frame();
        library->send(instance, &frame);
    });
    entered.get_future().wait();
    EXPECT_EQ(library->status(instance).sourceName, "Held");
    release.set_value();
    sender.join();
    library->destroy(instance);
    EXPECT_FALSE(library->status(instance).known);
    EXPECT_FALSE(library->status(nullptr).known);
}

/// A network on which names can be taken away.
class FakeNetwork {
public:
    Announcer::Announce announce() {
        return [this](const std::string& name, std::uint16_t,
                      const mdns::AnnounceSettings& settings) {
            const std::lock_guard lock(m_mutex);
            if (m_taken.count(name) > 0) {
                return mdns::AnnounceOutcome{mdns::AnnounceResult::NameTaken, nullptr, "taken"};
            }
            auto service = std::make_unique<Service>();
            m_service = service.get();
            m_service->now.name = name;
            m_onChange = settings.onChange;
            return mdns::AnnounceOutcome{mdns::AnnounceResult::Established, std::move(service), ""};
        };
    }
    void take(const std::set<std::string>& names) {
        const std::lock_guard lock(m_mutex);
        for (const std::string& name : names) {
            m_taken.insert(wire::instanceName(wire::machineName(), name));
        }
    }
    void report(mdns::AnnounceState state, const std::string& reason) {
        {
            const std::lock_guard lock(m_service->mutex);
            m_service->now.state = state;
            m_service->now.reason = reason;
        }
        m_onChange();
    }

private:
    struct Service : mdns::Announcement {
        [[nodiscard]] mdns::AnnouncementStatus status() const override {
            const std::lock_guard lock(mutex);
            return now;
        }
        mutable std::mutex mutex;
        mdns::AnnouncementStatus now;
    };

    std::mutex m_mutex;
    std::set<std::string> m_taken;
    Service* m_service = nullptr;
    std::function<void()> m_onChange;
};

TEST(Status, ALostNameIsReplacedByTheNextNumberedOne) {
    const LogCapture log;
    FakeNetwork network;
    SourceParts parts = testParts();
    parts.announce = network.announce();
    const auto source = openSource(std::move(parts));
    network.report(mdns::AnnounceState::Probing, "no network interface");
    EXPECT_TRUE(eventually([&] {
        const SourceStatus status = source->status();
        return status.announceState == AnnounceState::Probing &&
               status.announceReason == "no network interface";
    }));
    network.take({"Test", "Test1"});
    network.report(mdns::AnnounceState::NameLost, "another host publishes it");
    EXPECT_TRUE(eventually([&] { return source->status().sourceName == "Test2"; }));
    const SourceStatus status = source->status();
    EXPECT_EQ(status.announceState, AnnounceState::Announced);
    EXPECT_EQ(status.name, source->instance());
    EXPECT_EQ(status.requestedName, "Test");
    EXPECT_TRUE(log.says("has lost its name: another host publishes it"));
    EXPECT_TRUE(log.says("is called " + status.name + " from now on"));
    TestReceiver receiver(source->port());
    EXPECT_EQ(std::get<wire::IdentifyText>(receiver.readTexts(2).at(1)).name, status.name);
}

}  // namespace
}  // namespace ndi
