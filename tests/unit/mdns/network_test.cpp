// The embedded responder on a real network stack, observed by Avahi. Our own process finds no D-Bus
// here, so that mdns::announceService() uses the embedded responder.
#include <gmock/gmock.h>

#include "mdns/announcement.h"
#include "support/avahidaemon.h"

namespace {

using mdns::AnnounceResult;
using mdns::announceService;
using testing::HasSubstr;
using tests::AvahiDaemon;

TEST(EmbeddedResponder, IsResolvedAndSaysGoodbye) {
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
}

TEST(EmbeddedResponder, DetectsTakenNames) {
    const AvahiDaemon avahi;
    const auto rival =
        AvahiDaemon::tool({"avahi-publish", "-s", "HOST (first)", "_ndi._tcp", "7000"});
    ASSERT_TRUE(rival->says("Established"));
    const auto taken = mdns::announceService("HOST (first)", 5961);
    EXPECT_EQ(taken.result, mdns::AnnounceResult::NameTaken);
    EXPECT_THAT(taken.reason, HasSubstr("HOST (first)"));
    EXPECT_FALSE(taken.announcement);

    const auto mine = mdns::announceService("HOST (second)", 5961);
    EXPECT_EQ(mine.result, mdns::AnnounceResult::Established) << mine.reason;
    EXPECT_EQ(mdns::announceService("host (SECOND)", 5962).result, mdns::AnnounceResult::NameTaken);
    // The other way round: Avahi finds our name taken.
    const auto late =
        AvahiDaemon::tool({"avahi-publish", "-s", "HOST (second)", "_ndi._tcp", "7001"});
    EXPECT_TRUE(late->says("collision")) << late->output();
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
