// The embedded responder on a real network stack, seen by Avahi as an independent witness. Our own
// process finds no D-Bus here, so that announceService() takes the embedded responder.
#include <gmock/gmock.h>

#include "ndi/output/discovery.h"
#include "programs.h"

namespace {

using namespace testing_programs;
using ndi::AnnounceResult;
using ndi::announceService;
using testing::HasSubstr;
using testing::Not;

TEST(EmbeddedResponder, IsFoundAndItsGoodbyeHeard) {
    const AvahiDaemon witness;
    const auto start = std::chrono::steady_clock::now();
    auto source = announceService("HOST (first)", 5961);
    EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds(2000));
    ASSERT_EQ(source.result, AnnounceResult::Established) << source.reason;
    auto second = announceService("HOST (second)", 5962);
    ASSERT_EQ(second.result, AnnounceResult::Established) << second.reason;

    const auto found = AvahiDaemon::browse();
    EXPECT_THAT(found, HasSubstr("=;lo;IPv4;HOST\\032\\040first\\041;_ndi._tcp;local;"));
    EXPECT_THAT(found, HasSubstr(";127.0.0.1;5961;"));
    EXPECT_THAT(found, HasSubstr("=;lo;IPv4;HOST\\032\\040second\\041;_ndi._tcp;local;"));
    EXPECT_THAT(found, HasSubstr(";5962;"));

    const auto browser = AvahiDaemon::tool({"avahi-browse", "-p", "_ndi._tcp"});
    ASSERT_TRUE(eventually([&] { return browser->says("+;lo;IPv4;HOST\\032\\040second"); }));
    source.announcement.reset();
    EXPECT_TRUE(eventually([&] { return browser->says("-;lo;IPv4;HOST\\032\\040first"); },
                           milliseconds(2500)));
    EXPECT_FALSE(browser->says("-;lo;IPv4;HOST\\032\\040second"));
}

TEST(EmbeddedResponder, FindsNamesTaken) {
    const AvahiDaemon witness;
    const auto rival =
        AvahiDaemon::tool({"avahi-publish", "-s", "HOST (first)", "_ndi._tcp", "7000"});
    ASSERT_TRUE(eventually([&] { return rival->says("Established"); }));
    const auto taken = announceService("HOST (first)", 5961);
    EXPECT_EQ(taken.result, AnnounceResult::NameTaken);
    EXPECT_THAT(taken.reason, HasSubstr("HOST (first)"));
    EXPECT_FALSE(taken.announcement);

    const auto mine = announceService("HOST (second)", 5961);
    EXPECT_EQ(mine.result, AnnounceResult::Established) << mine.reason;
    EXPECT_EQ(announceService("host (SECOND)", 5962).result, AnnounceResult::NameTaken);
    // The other way round: Avahi finds our name taken.
    const auto late =
        AvahiDaemon::tool({"avahi-publish", "-s", "HOST (second)", "_ndi._tcp", "7001"});
    EXPECT_TRUE(eventually([&] { return late->says("collision"); })) << late->output();
}

TEST(EmbeddedResponder, RefusesNamesThatCannotBe) {
    for (const std::string& bad : {std::string(), std::string(64, 'x'), std::string("a\xFF")}) {
        const auto outcome = announceService(bad, 5961);
        EXPECT_EQ(outcome.result, AnnounceResult::Failed);
        EXPECT_FALSE(outcome.announcement);
        EXPECT_NE(outcome.reason, "");
    }
}

TEST(EmbeddedResponder, WaitsForANetworkAndFollowsIt) {
    runToEnd({"ip", "link", "set", "lo", "multicast", "off"});
    auto source = announceService("HOST (first)", 5961);
    EXPECT_EQ(source.result, AnnounceResult::Failed);
    EXPECT_TRUE(source.announcement);
    EXPECT_THAT(source.reason, HasSubstr("no network interface"));

    runToEnd({"ip", "link", "set", "lo", "multicast", "on"});
    const AvahiDaemon witness;
    EXPECT_TRUE(
        eventually([] { return AvahiDaemon::browse().find(";5961;") != std::string::npos; }));

    // Another interface appears, changes its address, and goes.
    runToEnd({"ip", "link", "add", "near", "type", "veth", "peer", "name", "far"});
    runToEnd({"ip", "addr", "add", "10.1.1.1/24", "dev", "near"});
    runToEnd({"ip", "link", "set", "far", "up"});
    runToEnd({"ip", "link", "set", "near", "up"});
    const auto finds = [](const std::string& address) {
        return AvahiDaemon::browse().find(";" + address + ";5961;") != std::string::npos;
    };
    EXPECT_TRUE(eventually([&] { return finds("10.1.1.1"); })) << AvahiDaemon::browse();
    runToEnd({"ip", "addr", "add", "10.1.1.2/24", "dev", "near"});
    runToEnd({"ip", "addr", "del", "10.1.1.1/24", "dev", "near"});
    runToEnd({"ip", "addr", "replace", "10.1.1.2/24", "dev", "near"});
    EXPECT_TRUE(eventually([&] { return finds("10.1.1.2"); })) << AvahiDaemon::browse();
    runToEnd({"ip", "link", "del", "near"});
    EXPECT_TRUE(eventually([&] { return finds("127.0.0.1"); }));
    EXPECT_THAT(AvahiDaemon::browse(), Not(HasSubstr("10.1.1.2")));
}

/// Another machine: a network namespace at the other end of a cable.
class TwoMachines : public testing::TestWithParam<bool> {
protected:
    TwoMachines() {
        EXPECT_TRUE(eventually([this] {
            return std::filesystem::read_symlink("/proc/" + m_far + "/ns/net") !=
                   std::filesystem::read_symlink("/proc/self/ns/net");
        }));
        runToEnd({"ip", "link", "set", "lo", "multicast", "off"});
        runToEnd(
            {"ip", "link", "add", "near", "type", "veth", "peer", "name", "far", "netns", m_far});
        inFar({"ip", "link", "set", "far", "up"});
        runToEnd({"ip", "link", "set", "near", "up"});
        if (GetParam()) {
            runToEnd({"ip", "addr", "add", "fd00::1/64", "dev", "near", "nodad"});
            inFar({"ip", "addr", "add", "fd00::2/64", "dev", "far", "nodad"});
        } else {
            runToEnd({"ip", "addr", "add", "10.1.1.1/24", "dev", "near"});
            inFar({"ip", "addr", "add", "10.1.1.2/24", "dev", "far"});
            runToEnd({"ip", "-6", "addr", "flush", "dev", "near"});
        }
    }
    ~TwoMachines() override {
        runToEnd({"ip", "link", "del", "near"});
        runToEnd({"ip", "link", "set", "lo", "multicast", "on"});
    }

    void inFar(std::vector<std::string> command) {
        auto all = enterFar();
        all.insert(all.end(), command.begin(), command.end());
        runToEnd(all);
    }

    [[nodiscard]] std::vector<std::string> enterFar() const {
        return {"nsenter", "-t", m_far, "-n"};
    }

private:
    Program m_holder{{"unshare", "--net", "sleep", "120"}};
    const std::string m_far = std::to_string(m_holder.pid());
};

TEST_P(TwoMachines, SeeEachOther) {
    const AvahiDaemon witness(enterFar());
    const auto rival =
        AvahiDaemon::tool({"avahi-publish", "-s", "HOST (second)", "_ndi._tcp", "7000"});
    ASSERT_TRUE(eventually([&] { return rival->says("Established"); }));

    const auto source = announceService("HOST (first)", 5961);
    ASSERT_EQ(source.result, AnnounceResult::Established) << source.reason;
    const std::string address = GetParam() ? ";fd00::1;5961;" : ";10.1.1.1;5961;";
    EXPECT_THAT(AvahiDaemon::browse(), HasSubstr(address));
    EXPECT_EQ(announceService("HOST (second)", 5962).result, AnnounceResult::NameTaken);
}

INSTANTIATE_TEST_SUITE_P(OverIPv4AndIPv6, TwoMachines, testing::Bool(),
                         [](const auto& each) { return each.param ? "IPv6" : "IPv4"; });

}  // namespace
