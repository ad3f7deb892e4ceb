// What a source bears on one machine: a crowd, endless coming and going, noise, and conversations
// that break off anywhere.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <asio/io_context.hpp>
#include <asio/read.hpp>
#include <asio/write.hpp>
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "monitor/receiver.h"
#include "ndi/wire/message.h"
#include "ndi/wire/messagereader.h"
#include "reliability/crowd.h"
#include "reliability/hosts.h"
#include "reliability/sending.h"
#include "support/testreceiver.h"

namespace reliability {
namespace {

using namespace std::chrono_literals;
using asio::ip::tcp;
using tests::eventually;
using testsupport::TestReceiver;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint16_t kPort = 5961;  // the first one: the network is our own
const tcp::endpoint kSource(asio::ip::address_v4::loopback(), kPort);

/// A crowd that lives on a thread of its own.
class Background {
public:
    explicit Background(Role role) {
        m_crowd.add(role);
        m_thread = std::thread([this] {
            while (!m_end) {
                m_crowd.run(50ms);
            }
        });
    }
    ~Background() { (void)end(role()); }

    ViewerReport end(Role role) {
        m_end = true;
        if (m_thread.joinable()) {
            m_thread.join();
        }
        return m_crowd.total(role);
    }

private:
    [[nodiscard]] Role role() const { return m_crowd.reports().front().role; }

    Crowd m_crowd{kSource};
    std::atomic<bool> m_end{false};
    std::thread m_thread;
};

/// A source with one receiver that must not notice anything of the test.
class Hostile : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(m_sender.instance(), nullptr);
        m_good = std::make_unique<Background>(Role::Watch);
        m_low = std::make_unique<Background>(Role::Low);
        std::this_thread::sleep_for(500ms);
        m_before = Footprint::now();
    }

    void TearDown() override {
        // What the others left is gone within a moment.
        EXPECT_TRUE(eventually([&] { return Footprint::now().files <= m_before.files; }, 15s))
            << Footprint::now().describe();
        const Footprint after = Footprint::now();
        EXPECT_EQ(after.threads, m_before.threads);
        if (!kSanitized) {
            EXPECT_LE(after.residentKiB, m_before.residentKiB + 24 * 1024);
        }
        const ViewerReport good = m_good->end(Role::Watch);
        const ViewerReport low = m_low->end(Role::Low);
        fmt::print("before: {}\nafter:  {}\ngood receiver: {} pictures, {} lost; preview: {}, {}\n",
                   m_before.describe(), after.describe(), good.pictures, good.lost, low.pictures,
                   low.lost);
        for (const ViewerReport& one : {good, low}) {
            EXPECT_EQ(one.connections, 1U);
            EXPECT_EQ(one.dropped, 0U);
            EXPECT_GT(one.pictures, 0U);
            // A machine without a processor to spare for a thirtieth of a second costs a picture.
            EXPECT_LE(one.lost, kSanitized ? one.pictures : one.pictures / 20);
        }
    }

    /// The source answers a newcomer.
    static void expectItServes() {
        TestReceiver late(kPort);
        late.sayHello();
        EXPECT_TRUE(late.nextPicture(5s));
    }

    Sender m_sender{"Hostile", 640, 360, kSanitized ? 10 : 30};
    std::unique_ptr<Background> m_good;
    std::unique_ptr<Background> m_low;
    Footprint m_before;
};

TEST_F(Hostile, TwoHundredReceiversAtOnce) {
    constexpr int kCount = 200;
    CrowdProgram crowd("127.0.0.1", {"watch:" + std::to_string(kCount)});
    std::this_thread::sleep_for(1s);
    const std::uint64_t before = m_sender.sent();
    (void)m_sender.takeCallTimes();
    std::this_thread::sleep_for(scaled(5s, 60s));
    const std::uint64_t sent = m_sender.sent() - before;
    fmt::print("{}\n", m_sender.takeCallTimes().describe());
    const auto reports = crowd.end();
    ASSERT_EQ(reports.size(), static_cast<std::size_t>(kCount));
    const auto least =
        std::min_element(reports.begin(), reports.end(),
                         [](const auto& a, const auto& b) { return a.pictures < b.pictures; });
    const ViewerReport all = sumOf(reports, Role::Watch);
    fmt::print("{} sent, {} taken by the one with the fewest; all together {} taken, {} lost\n",
               sent, least->pictures, all.pictures, all.lost);
    EXPECT_EQ(all.dropped, 0U);
    EXPECT_EQ(all.connections, static_cast<unsigned>(kCount));
    // All of them share one thread: what matters is that none is left out.
    EXPECT_GE(least->pictures, kSanitized ? 1 : sent / 4);
    EXPECT_GE(sent, kSanitized ? 1U : 4 * 25U) << "the sender keeps its pace";
    expectItServes();
}

TEST_F(Hostile, ThousandsComeAndGo) {
    const std::uint64_t each = scaled(kSanitized ? 25 : 100, 500);
    Crowd crowd(kSource);
    crowd.add(Role::Churn, 20, each);
    crowd.add(Role::Fickle, 5);
    const auto end = std::chrono::steady_clock::now() + scaled(60s, 300s);
    while (crowd.total(Role::Churn).connections < 20 * each &&
           std::chrono::steady_clock::now() < end) {
        crowd.run(100ms);
    }
    const ViewerReport churned = crowd.total(Role::Churn);
    const ViewerReport fickle = crowd.total(Role::Fickle);
    fmt::print("{} connections, {} of them closed by the source; fickle receivers: {} pictures\n",
               churned.connections, churned.dropped, fickle.pictures);
    EXPECT_EQ(churned.connections, 20 * each);
    EXPECT_EQ(fickle.dropped, 0U);
    EXPECT_GT(fickle.pictures, 0U);
    crowd.leave();
    expectItServes();
}

TEST_F(Hostile, RandomBytes) {
    constexpr int kAtOnce = 10;
    const std::uint64_t connections = scaled(kSanitized ? 50 : 100, 1000);
    const std::uint64_t bytes = connections << 20;
    // What is sent after the source has closed the connection does not count, hence half as many
    // again.
    Crowd crowd(kSource);
    crowd.add(Role::Noise, kAtOnce, connections * 3 / 2 / kAtOnce);
    const auto wanted = [&] {
        const ViewerReport noise = crowd.total(Role::Noise);
        return noise.connections >= connections && noise.sentBytes >= bytes;
    };
    const auto end = std::chrono::steady_clock::now() + scaled(60s, 900s);
    while (!wanted() && std::chrono::steady_clock::now() < end) {
        crowd.run(100ms);
    }
    crowd.run(1s);
    const ViewerReport noise = crowd.total(Role::Noise);
    fmt::print("{} connections, {:.1f} MiB of noise, {} closed by the source\n", noise.connections,
               static_cast<double>(noise.sentBytes) / (1 << 20), noise.dropped);
    EXPECT_TRUE(wanted());
    EXPECT_GT(noise.dropped, 0U);
    crowd.leave();
    expectItServes();
}

/// What ndimonitor says to a source, as the source would hear it.
Bytes recordReceiver() {
    asio::io_context context;
    tcp::acceptor acceptor(context, {asio::ip::address_v4::loopback(), 0});
    const std::string address = "127.0.0.1:" + std::to_string(acceptor.local_endpoint().port());
    const Program monitor({RELIABILITY_MONITOR, "--address", address, "--tally", "program"});
    tcp::socket socket = acceptor.accept();
    std::this_thread::sleep_for(500ms);
    Bytes bytes(socket.available());
    asio::read(socket, asio::buffer(bytes));
    return bytes;
}

/// What a source says to a receiver: its greeting, and two pictures.
Bytes recordSource() {
    const Sender sender("Small", 16, 16, 5);
    asio::io_context context;
    tcp::socket socket(context);
    socket.connect({asio::ip::address_v4::loopback(), kPort});
    const auto hello = ndi::wire::makeTextMessage(R"(<ndi_enabled_streams video="true"/>)");
    asio::write(socket, asio::buffer(hello));
    Bytes bytes;
    ndi::wire::MessageReader reader(ndi::wire::Limits::forReceiver());
    ndi::wire::Message message;
    for (int pictures = 0; pictures < 2;) {
        std::array<std::uint8_t, 4096> piece;
        const std::size_t size = socket.read_some(asio::buffer(piece));
        bytes.insert(bytes.end(), piece.begin(), piece.begin() + static_cast<long>(size));
        reader.append(piece.data(), size);
        while (reader.next(message) == ndi::wire::MessageReader::Result::Ready) {
            pictures += message.header.kind == 0 ? 1 : 0;
        }
    }
    return bytes;
}

TEST_F(Hostile, EveryMessageOfAReceiverCutAtEveryByte) {
    const Bytes session = recordReceiver();
    ASSERT_GT(session.size(), 300U);
    for (std::size_t cut = 0; cut <= session.size(); ++cut) {
        TestReceiver receiver(kPort);
        ASSERT_TRUE(receiver.connected());
        ASSERT_TRUE(receiver.sendBytes(session.data(), cut));
        if (cut % 2 == 0) {
            receiver.vanish();  // with a reset; else in peace
        }
    }
    // Cut in two, it is understood all the same.
    for (std::size_t cut = 0; cut <= session.size(); cut += scaled(7, 1)) {
        TestReceiver receiver(kPort);
        ASSERT_TRUE(receiver.sendBytes(session.data(), cut));
        std::this_thread::sleep_for(2ms);
        ASSERT_TRUE(receiver.sendBytes(session.data() + cut, session.size() - cut));
        EXPECT_TRUE(receiver.nextPicture(5s)) << cut;
    }
    fmt::print("a session of {} bytes\n", session.size());
}

/// The other side: ndimonitor's receiver at a source that breaks off.
TEST(Receiver, EveryMessageOfASourceCutAtEveryByte) {
    const Bytes session = recordSource();
    ASSERT_GT(session.size(), 400U);
    asio::io_context context;
    tcp::acceptor acceptor(context, {asio::ip::address_v4::loopback(), 0});
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
