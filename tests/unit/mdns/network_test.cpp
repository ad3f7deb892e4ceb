// The embedded responder on a real network stack, observed by Avahi. Our own process finds no D-Bus
// here, so that mdns::announceService() uses the embedded responder.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <stdexcept>

#include "mdns/announcement.h"
#include "mdns/multicastsockets.h"
#include "support/avahidaemon.h"
#include "support/logcapture.h"

namespace {

using mdns::AnnounceOptions;
using mdns::AnnounceState;
using namespace std::chrono_literals;
using testing::HasSubstr;
using tests::AvahiDaemon;
using tests::eventually;

TEST(EmbeddedResponder, IsResolvedAndSaysGoodbye) {
    const tests::LogCapture log;
    const AvahiDaemon avahi;
    auto source = mdns::announceService("HOST (first)", 5961);
    ASSERT_EQ(source.result, mdns::AnnounceResult::Established) << source.reason;
    auto second = mdns::announceService("HOST (second)", 5962);
    ASSERT_EQ(second.result, mdns::AnnounceResult::Established) << second.reason;
    EXPECT_TRUE(AvahiDaemon::finds("=;lo;IPv4;HOST\\032\\040first\\041;_ndi._tcp;local;"));
    EXPECT_TRUE(AvahiDaemon::finds(";127.0.0.1;5961;"));
    EXPECT_TRUE(AvahiDaemon::finds("=;lo;IPv4;HOST\\032\\040second\\041;_ndi._tcp;local;"));

    const auto browser = AvahiDaemon::tool({"avahi-browse", "-p", "_ndi._tcp"});
    ASSERT_TRUE(browser->says("+;lo;IPv4;HOST\\032\\040first"));
    ASSERT_TRUE(browser->says("+;lo;IPv4;HOST\\032\\040second"));
    source.announcement.reset();
    EXPECT_TRUE(browser->says("-;lo;IPv4;HOST\\032\\040first"));
    EXPECT_EQ(browser->output().find("-;lo;IPv4;HOST\\032\\040second"), std::string::npos);
    // Loopback can't send to the IPv6 group. That was retried several times meanwhile.
    EXPECT_EQ(log.count("multicast DNS on lo (IPv6): "), 2) << "once for each service";
    EXPECT_EQ(log.count("multicast DNS for \"HOST (second)\" on "), 2) << log.text();
    EXPECT_EQ(log.count("\"HOST (second)\" is announced"), 1);
}

TEST(EmbeddedResponder, StartsAgainAfterAnException) {
    const tests::LogCapture log;
    std::atomic<int> thrown{0};
    AnnounceOptions options;
    options.onChange = [&](const auto&) {
        if (thrown++ < 2) {
            throw std::runtime_error("out of something");
        }
    };
    const auto source = mdns::announceService("HOST (first)", 5961, options);
    ASSERT_TRUE(source.announcement);
    EXPECT_TRUE(eventually(
        [&] { return source.announcement->status().state == AnnounceState::Established; }));
    EXPECT_TRUE(log.says("responder failed: out of something"));
}

/// The descriptor of the open IPv4 socket on the mDNS port.
int mdnsDescriptor() {
    for (int file = 3; file < 100; ++file) {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        if (getsockname(file, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
            address.sin_family == AF_INET && ntohs(address.sin_port) == mdns::kPort) {
            return file;
        }
    }
    return -1;
}

TEST(MulticastSockets, ReopensASocketThatKeepsFailingToReceive) {
    asio::io_context context;
    int received = 0;
    mdns::MulticastSockets sockets(context,
                                   [&](const auto&, const auto&, auto*, auto) { ++received; });
    auto interfaces = mdns::multicastInterfaces();
    ASSERT_FALSE(interfaces.empty());
    interfaces.resize(1);
    auto& addresses = interfaces[0].addresses;
    addresses.erase(std::remove_if(addresses.begin(), addresses.end(),
                                   [](const auto& each) { return each.address.is_v6(); }),
                    addresses.end());
    const auto links = sockets.setInterfaces(interfaces);
    ASSERT_EQ(links.size(), 1U);
    ASSERT_TRUE(sockets.sendToGroup(links[0], {1, 2, 3}));
    // Something that is no socket takes its place: every call fails from now on.
    const int file = mdnsDescriptor();
    ASSERT_GE(file, 0);
    const int keptOpen = dup(file);
    const int noSocket = open("/dev/null", O_RDONLY);
    ASSERT_EQ(dup2(noSocket, file), file);
    EXPECT_LE(context.run_for(300ms), 20U);
    EXPECT_THAT(sockets.lastError(), HasSubstr("receiving failed"));
    close(keptOpen);
    close(noSocket);

    ASSERT_EQ(sockets.setInterfaces(interfaces), links);
    ASSERT_TRUE(sockets.sendToGroup(links[0], {1, 2, 3}));
    EXPECT_TRUE(eventually([&] {
        context.restart();
        context.run_for(10ms);
        return received > 0;
    }));
}

TEST(EmbeddedResponder, RefusesInvalidNames) {
    for (const std::string& bad : {std::string(), std::string(64, 'x'), std::string("a\xFF")}) {
        const auto outcome = mdns::announceService(bad, 5961);
        EXPECT_EQ(outcome.result, mdns::AnnounceResult::Failed);
        EXPECT_FALSE(outcome.announcement);
        EXPECT_NE(outcome.reason, "");
    }
}

TEST(EmbeddedResponder, WaitsForANetwork) {
    tests::runToEnd({"ip", "link", "set", "lo", "multicast", "off"});
    const auto source = mdns::announceService("HOST (first)", 5961);
    EXPECT_EQ(source.result, mdns::AnnounceResult::Failed);
    EXPECT_TRUE(source.announcement);
    EXPECT_THAT(source.reason, HasSubstr("no network interface"));
    tests::runToEnd({"ip", "link", "set", "lo", "multicast", "on"});
    const AvahiDaemon avahi;
    EXPECT_TRUE(AvahiDaemon::finds(";127.0.0.1;5961;"));
}

}  // namespace
