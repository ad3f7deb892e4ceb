// Publishing through an Avahi daemon that starts, stops and is killed, and through the embedded
// responder while there is none.
#include <gtest/gtest.h>

#include <asio/io_context.hpp>
#include <csignal>

#include "mdns/announcement.h"
#include "mdns/dns.h"
#include "mdns/hostlabel.h"
#include "mdns/multicastsockets.h"
#include "support/avahidaemon.h"
#include "support/hostname.h"

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;
using tests::AvahiDaemon;
using tests::eventually;

const bool kOwnBus = setenv("DBUS_SYSTEM_BUS_ADDRESS", AvahiDaemon::kAddress, 1) == 0;

namespace dns = mdns::dns;

void sendByIpv4(mdns::MulticastSockets& sockets, const dns::Message& message) {
    for (const auto& link : sockets.setInterfaces(mdns::multicastInterfaces())) {
        if (!link.v6) {
            sockets.sendToGroup(link, dns::write(message));
        }
    }
}

/// The host that answers a query for the SRV record of `instance`; "" without an answer.
std::string hostOf(const std::string& instance) {
    asio::io_context context;
    const dns::Name name{instance, "_ndi", "_tcp", "local"};
    std::string host;
    mdns::MulticastSockets sockets(context, [&](const auto&, const auto&, const std::uint8_t* bytes,
                                                std::size_t size) {
        const auto message = dns::parse(bytes, size);
        for (const auto& record : message ? message->answers : std::vector<dns::Record>{}) {
            const auto* srv = std::get_if<dns::Srv>(&record.data);
            if (message->response && srv && record.ttl > 0 && dns::sameName(record.name, name)) {
                host = dns::nameToText(srv->target);
            }
        }
    });
    dns::Message query;
    query.questions = {{name, dns::kTypeSrv, dns::kClassIn, false}};
    sendByIpv4(sockets, query);
    const auto end = steady_clock::now() + 400ms;
    while (host.empty() && steady_clock::now() < end) {
        context.run_for(50ms);
    }
    return host;
}

/// As a responder does that never probed for the name.
void claim(const std::string& instance) {
    asio::io_context context;
    mdns::MulticastSockets sockets(context, [](auto&&...) {});
    dns::Message claim;
    claim.response = claim.authoritative = true;
    claim.answers = {{{instance, "_ndi", "_tcp", "local"},
                      dns::kTypeSrv,
                      dns::kClassIn,
                      true,
                      120,
                      dns::Srv{0, 0, 7000, {"foreign", "local"}}}};
    sendByIpv4(sockets, claim);
}

bool servedBy(const std::string& host) {
    return eventually([&] { return hostOf("HOST (first)") == host; });
}

const std::string kEmbedded = mdns::hostLabel(support::hostName()) + ".local";
const std::string kDaemon = "testhost.local";

TEST(AvahiPublishing, OutlivesTheDaemon) {
    AvahiDaemon daemon;
    auto source = mdns::announceService("HOST (first)", 5961);
    ASSERT_EQ(source.result, mdns::AnnounceResult::Established) << source.reason;
    EXPECT_EQ(mdns::announceService("HOST (first)", 5962).result, mdns::AnnounceResult::NameTaken);
    EXPECT_TRUE(servedBy(kDaemon));
    // The embedded responder does not take over from a daemon that is back within two seconds.
    for (const int signal : {SIGTERM, SIGKILL}) {
        daemon.end(signal);
        daemon.start();
        EXPECT_TRUE(servedBy(kDaemon));
    }
    for (const int signal : {SIGTERM, SIGKILL}) {
        daemon.end(signal);
        EXPECT_TRUE(servedBy(kEmbedded));
        daemon.start();
        EXPECT_TRUE(servedBy(kDaemon));
        EXPECT_TRUE(AvahiDaemon::finds("testhost.local;127.0.0.1;5961;"));
    }
    source.announcement.reset();
    EXPECT_TRUE(
        eventually([] { return AvahiDaemon::browse().find("first") == std::string::npos; }));
}

TEST(AvahiPublishing, TakesTheNextNameAfterAConflict) {
    const AvahiDaemon daemon;
    mdns::AnnounceOptions options;
    options.numberedName = [](unsigned number) { return "HOST (first)" + std::to_string(number); };
    const auto source = mdns::announceService("HOST (first)", 5961, options);
    ASSERT_EQ(source.result, mdns::AnnounceResult::Established) << source.reason;
    EXPECT_TRUE(eventually([&] {
        claim("HOST (first)");
        const auto status = source.announcement->status();
        return status.state == mdns::AnnounceState::Established &&
               status.instance == "HOST (first)1";
    })) << source.announcement->status().reason;
    EXPECT_TRUE(eventually([] { return hostOf("HOST (first)1") == kDaemon; }));
}

TEST(AvahiPublishing, StartsWithoutABusAndSwitchesToADaemonThatStarts) {
    std::filesystem::remove("/run/test-bus");
    auto source = mdns::announceService("HOST (first)", 5961);
    ASSERT_EQ(source.result, mdns::AnnounceResult::Established) << source.reason;
    EXPECT_TRUE(servedBy(kEmbedded));
    {
        const AvahiDaemon daemon;
        EXPECT_TRUE(servedBy(kDaemon));
    }
    EXPECT_TRUE(servedBy(kEmbedded)) << "the bus is gone with the daemon";
    source.announcement.reset();
    EXPECT_EQ(hostOf("HOST (first)"), "");
}

}  // namespace
