// What a source reports about itself, and what it does when its name is lost.

#include <future>
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
    const auto source = Source::open({{"Test", 0}, false, [&changes] { ++changes; }}, testParts());
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

TEST(Status, DoesNotWaitForASend) {
    std::promise<void> entered;
    std::promise<void> release;
    SourceParts parts = testParts([&](auto&&...) {
        entered.set_value();
        release.get_future().wait();
    });
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

TEST(Status, FollowsTheAnnouncementToAnotherName) {
    const LogCapture log;
    mdns::AnnounceOptions publisher;
    const auto announce = [&](const std::string& name, std::uint16_t,
                              const mdns::AnnounceOptions& options) {
        if (name == wire::instanceName(wire::machineName(), "Test")) {
            return mdns::AnnounceOutcome{mdns::AnnounceResult::NameTaken, nullptr, "taken"};
        }
        publisher = options;
        options.onChange({mdns::AnnounceState::Established, name, ""});
        return mdns::AnnounceOutcome{mdns::AnnounceResult::Established,
                                     std::make_unique<NoAnnouncement>(), ""};
    };
    const auto library = makeBuiltInLibrary([&] {
        SourceParts parts = testParts();
        parts.announce = announce;
        return parts;
    });
    NDIlib_send_create_t settings{"Test", nullptr, false, false};
    EXPECT_EQ(library->create(&settings), nullptr);
    settings.p_ndi_name = "Test1";  // the caller's retry
    const auto instance = library->create(&settings);
    const SourceStatus first = library->status(instance);
    EXPECT_EQ(first.announceState, AnnounceState::Announced);

    publisher.onChange({mdns::AnnounceState::Trying, first.name, "no network interface"});
    SourceStatus status = library->status(instance);
    EXPECT_EQ(status.announceState, AnnounceState::Probing);
    EXPECT_EQ(status.announceReason, "no network interface");

    publisher.onChange({mdns::AnnounceState::Established, publisher.numberedName(1), ""});
    status = library->status(instance);
    EXPECT_EQ(status.announceState, AnnounceState::Announced);
    EXPECT_EQ(status.name, wire::instanceName(wire::machineName(), "Test2"));
    EXPECT_EQ(status.sourceName, "Test2");
    EXPECT_EQ(status.requestedName, "Test");
    EXPECT_TRUE(log.says("it is called " + status.name + " now"));
    TestReceiver receiver(status.port);
    EXPECT_EQ(std::get<wire::IdentifyText>(receiver.readTexts(2).at(1)).name, status.name);
}

}  // namespace
}  // namespace ndi
