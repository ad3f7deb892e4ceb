// Publishing through an Avahi daemon that comes, goes and is killed, and through the embedded
// responder meanwhile.
#include <gmock/gmock.h>

#include <asio/io_context.hpp>

#include "ndi/discovery/dns.h"
#include "ndi/discovery/embeddedpublisher.h"
#include "ndi/discovery/multicastsockets.h"
#include "ndi/output/discovery.h"
#include "programs.h"

namespace {

using namespace testing_programs;
using ndi::AnnounceResult;
using ndi::announceService;
using testing::HasSubstr;

const bool kOwnBus = setenv("DBUS_SYSTEM_BUS_ADDRESS", AvahiDaemon::kAddress, 1) == 0;

/// Asks the network itself where `instance` is: the host that answers, or "" when nobody does.
std::string hostOf(const std::string& instance) {
    namespace dns = ndi::dns;
    asio::io_context context;
    const dns::Name name{instance, "_ndi", "_tcp", "local"};
    std::string host;
    ndi::mdns::MulticastSockets sockets(context, [&](const auto&, const auto&,
                                                     const std::uint8_t* bytes, std::size_t size) {
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
    for (const auto& link : sockets.setInterfaces(ndi::mdns::multicastInterfaces())) {
        if (!link.v6) {
            sockets.sendToGroup(link, dns::write(query));
        }
    }
    const auto end = std::chrono::steady_clock::now() + milliseconds(400);
    while (host.empty() && std::chrono::steady_clock::now() < end) {
        context.run_for(milliseconds(50));
    }
    return host;
}

bool servedBy(const std::string& host, milliseconds limit = milliseconds(10000)) {
    return eventually([&] { return hostOf("HOST (first)") == host; }, limit);
}

const std::string kEmbedded = ndi::mdns::localHostLabel() + ".local";
const std::string kDaemon = "testhost.local";

TEST(AvahiPublishing, OutlivesTheDaemon) {
    AvahiDaemon daemon;
    auto source = announceService("HOST (first)", 5961);
    ASSERT_EQ(source.result, AnnounceResult::Established) << source.reason;
    EXPECT_EQ(announceService("HOST (first)", 5962).result, AnnounceResult::NameTaken);
    EXPECT_TRUE(servedBy(kDaemon));
    // A restart within two seconds is not stepped into.
    for (const int signal : {SIGTERM, SIGKILL}) {
        daemon.end(signal);
        daemon.start();
        EXPECT_TRUE(servedBy(kDaemon));
    }
    for (const int signal : {SIGTERM, SIGKILL}) {
        daemon.end(signal);
        EXPECT_TRUE(servedBy(kEmbedded, milliseconds(6000)));
        daemon.start();
        EXPECT_TRUE(servedBy(kDaemon));
        EXPECT_THAT(AvahiDaemon::browse(), HasSubstr("testhost.local;127.0.0.1;5961;"));
    }
    source.announcement.reset();
    EXPECT_TRUE(eventually([] { return AvahiDaemon::browse().find("first") == std::string::npos; },
                           milliseconds(2500)));
}

TEST(AvahiPublishing, StartsWithoutABusAndTakesTheDaemonWhenItComes) {
    std::filesystem::remove("/run/test-bus");
    const auto start = std::chrono::steady_clock::now();
    auto source = announceService("HOST (first)", 5961);
    EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds(2000));
    ASSERT_EQ(source.result, AnnounceResult::Established) << source.reason;
    EXPECT_TRUE(servedBy(kEmbedded));
    {
        const AvahiDaemon daemon;
        EXPECT_TRUE(servedBy(kDaemon, milliseconds(12000)));
    }
    // The bus is gone with it.
    EXPECT_TRUE(servedBy(kEmbedded, milliseconds(12000)));
    source.announcement.reset();
    EXPECT_EQ(hostOf("HOST (first)"), "");
}

}  // namespace
