// What a source bears on one machine: a crowd, endless coming and going, noise, and conversations
// that break off anywhere.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <asio/io_context.hpp>
#include <asio/write.hpp>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "monitor/receiver.h"
#include "ndi/wire/message.h"
#include "reliability/hosts.h"
#include "reliability/sending.h"
#include "support/footprint.h"
#include "support/testreceiver.h"

namespace reliability {
namespace {

using namespace std::chrono_literals;
using asio::ip::tcp;
using tests::eventually;
using tests::Footprint;
using tests::TestReceiver;
namespace wire = ndi::wire;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint16_t kPort = 5961;  // the first one: the network is our own
const tcp::endpoint kAnyPort(asio::ip::address_v4::loopback(), 0);

bool allReceive(Crowd& crowd) {
    return eventually([&] {
        const Reports reports = crowd.soFar();
        return std::all_of(reports.begin(), reports.end(),
                           [](const Report& one) { return one.frames > 0; });
    });
}

/// A source with two receivers that must not notice anything of the test.
class Hostile : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(m_sender.instance(), nullptr);
        ASSERT_TRUE(allReceive(m_good));
        m_before = Footprint::of();
    }

    void TearDown() override {
        // The source answers a newcomer, and what the others left is gone within a moment.
        {
            TestReceiver late(kPort);
            late.sayHello();
            EXPECT_TRUE(late.nextFrame());
        }
        EXPECT_TRUE(eventually([&] {
            const Footprint now = Footprint::of();
            return now.files <= m_before.files && now.threads <= m_before.threads;
        })) << Footprint::of().describe();
        const Footprint after = Footprint::of();
        if (!kSanitized) {
            EXPECT_LE(after.residentKiB, m_before.residentKiB + 24 * 1024);
        }
        fmt::print("before: {}\nafter:  {}\n", m_before.describe(), after.describe());
        for (const Report& one : m_good.end()) {
            fmt::print("good receiver ({}): {} frames, {} lost\n", one.role, one.frames, one.lost);
            EXPECT_EQ(one.connections, 1U);
            EXPECT_EQ(one.dropped, 0U);
            EXPECT_LE(one.lost, kSanitized
                                    ? one.frames
                                    : one.frames / 20 + framesMissedWaiting(m_before, after));
        }
    }

    Sender m_sender{"Hostile", 640, 360, kSanitized ? 10.0 : 30.0};
    Crowd m_good{"127.0.0.1", {"watch:1", "low:1"}};
    Footprint m_before;
};

TEST_F(Hostile, TwoHundredReceiversAtOnce) {
    Crowd crowd("127.0.0.1", {"watch:200"});
    ASSERT_TRUE(allReceive(crowd));
    const std::uint64_t before = m_sender.sent();
    tests::sleepFor(scaled(5s, 60s));
    const std::uint64_t sent = m_sender.sent() - before;
    const Reports reports = crowd.end();
    ASSERT_EQ(reports.size(), 200U);
    const auto least =
        std::min_element(reports.begin(), reports.end(),
                         [](const auto& a, const auto& b) { return a.frames < b.frames; });
    const Report all = sumOf(reports, "watch");
    fmt::print("{} sent, {} taken by the one with the fewest; all together {} taken, {} lost\n",
               sent, least->frames, all.frames, all.lost);
    EXPECT_EQ(all.dropped, 0U);
    EXPECT_EQ(all.connections, 200U);
    // All of them share one thread: what matters is that none is left out.
    EXPECT_GE(least->frames, kSanitized ? 1 : sent / 4);
    EXPECT_GE(sent, kSanitized ? 1U : 4 * 25U) << "the sender keeps its pace";
}

TEST_F(Hostile, ThousandsComeAndGo) {
    const int each = scaled(kSanitized ? 25 : 100, 500);
    const auto connections = static_cast<std::uint64_t>(20 * each);
    Crowd crowd("127.0.0.1", {"fickle:5", "quota:" + std::to_string(each), "churn:20"});
    EXPECT_TRUE(eventually([&] { return sumOf(crowd.soFar(), "churn").connections == connections; },
                           scaled(60s, 300s)));
    const Reports reports = crowd.end();
    const Report fickle = sumOf(reports, "fickle");
    fmt::print("{} connections, {} of them closed by the source; fickle receivers: {} frames\n",
               connections, sumOf(reports, "churn").dropped, fickle.frames);
    EXPECT_EQ(fickle.dropped, 0U);
    EXPECT_GT(fickle.frames, 0U);
}

TEST_F(Hostile, RandomBytes) {
    // What is sent after the source has closed the connection does not count, hence half as many
    // connections again.
    const int mebibytes = scaled(kSanitized ? 50 : 100, 1000);
    Crowd crowd("127.0.0.1", {"quota:" + std::to_string(mebibytes * 3 / 2 / 10), "noise:10"});
    Report noise;
    EXPECT_TRUE(eventually(
        [&] {
            noise = sumOf(crowd.soFar(), "noise");
            return noise.sentBytes >> 20 >= static_cast<unsigned>(mebibytes);
        },
        scaled(60s, 900s)));
    fmt::print("{} connections, {} MiB of noise, {} closed by the source\n", noise.connections,
               noise.sentBytes >> 20, noise.dropped);
    EXPECT_GT(noise.dropped, 0U);
}

TEST_F(Hostile, EveryMessageOfAReceiverCutAtEveryByte) {
    Bytes session;
    for (const std::string& text :
         {wire::composeText(wire::VersionText{}), wire::composeText(wire::IdentifyText{"CUT"}),
          wire::composeText(wire::QualityText{}),
          wire::composeText(wire::EnabledStreamsText{true, true, true}),
          wire::composeText(wire::TallyText{true, false})}) {
        const Bytes message = wire::makeTextMessage(text);
        session.insert(session.end(), message.begin(), message.end());
    }
    for (std::size_t cut = 0; cut <= session.size(); ++cut) {
        TestReceiver receiver(kPort);
        ASSERT_TRUE(receiver.connected());
        ASSERT_TRUE(receiver.sendBytes(session.data(), cut));
        if (cut % 2 == 0) {
            receiver.vanish();  // with a reset instead of an orderly end
        }
    }
    // Cut in two, it is understood all the same.
    for (std::size_t cut = 0; cut <= session.size(); cut += scaled(7, 1)) {
        TestReceiver receiver(kPort);
        ASSERT_TRUE(receiver.sendBytes(session.data(), cut));
        tests::sleepFor(2ms);
        ASSERT_TRUE(receiver.sendBytes(session.data() + cut, session.size() - cut));
        EXPECT_TRUE(receiver.nextFrame()) << cut;
    }
}

/// The other side: ndimonitor's receiver at a source that breaks off after its greeting, or within
/// its two frames.
TEST(Receiver, EveryMessageOfASourceCutAtEveryByte) {
    Bytes session = wire::makeTextMessage(R"(<ndi_version text="3" video="5"/>)");
    {
        const Sender sender("Small", 16, 16, 5);
        TestReceiver recorder(kPort);
        recorder.sayHello();
        for (int frames = 0; frames < 2; ++frames) {
            const auto frame = recorder.nextFrame();
            ASSERT_TRUE(frame);
            wire::MessageHead head;
            writeVideoHead(frame->info, static_cast<std::uint32_t>(frame->packet.size()), head);
            session.insert(session.end(), head.bytes.begin(),
                           head.bytes.begin() + static_cast<std::ptrdiff_t>(head.size));
            session.insert(session.end(), frame->packet.begin(), frame->packet.end());
        }
    }
    asio::io_context context;
    tcp::acceptor acceptor(context, kAnyPort);
    monitor::Options options;
    options.frames = 2;
    const std::atomic<bool> interrupted{false};
    for (std::size_t cut = 0; cut <= session.size(); ++cut) {
        std::thread source([&] {
            tcp::socket socket = acceptor.accept();
            asio::write(socket, asio::buffer(session.data(), cut));
            socket.shutdown(tcp::socket::shutdown_send);
            asio::error_code ended;
            for (std::array<char, 256> heard; !ended;) {
                (void)socket.read_some(asio::buffer(heard), ended);
            }
        });
        const auto reception = monitor::receive({"Cut", {acceptor.local_endpoint()}}, options,
                                                interrupted, [](const std::string&) {});
        source.join();
        using End = monitor::Reception::End;
        const bool whole = cut == session.size();
        EXPECT_EQ(reception.end == End::Complete, whole) << cut;
        EXPECT_EQ(reception.statistics.corrupt(), 0U) << cut;
        EXPECT_LE(reception.statistics.frames(), whole ? 2U : 1U) << cut;
        EXPECT_EQ(reception.reason.empty(), whole) << cut;
    }
    fmt::print("a session of {} bytes\n", session.size());
}

}  // namespace
}  // namespace reliability
