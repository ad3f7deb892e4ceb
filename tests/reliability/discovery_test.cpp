// Whether a source is found from another machine while networks, names and processes fail.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <set>
#include <sstream>

#include "reliability/hosts.h"
#include "reliability/sending.h"
#include "support/logfile.h"
#include "unit/discovery/programs.h"

namespace reliability {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;
using tests::eventually;
using tests::runToEnd;
using tests::sleepFor;
using Switch = std::string;

/// A machine at the other end of a cable.
class Discovery : public testing::Test {
protected:
    Discovery() { m_wire.plug(m_far, 2); }

    /// What somebody finds there who asks the network now.
    [[nodiscard]] std::string listedThere() const {
        Program monitor(m_far.exec({RELIABILITY_MONITOR, "--list", "--wait", "1.5"}));
        EXPECT_TRUE(monitor.waitFor(10s));
        return monitor.output();
    }
    [[nodiscard]] bool foundThere(const std::string& text) const {
        return eventually([&] { return listedThere().find(text) != std::string::npos; }, 20s);
    }
    [[nodiscard]] bool goneThere(const std::string& text) const {
        return eventually([&] { return listedThere().find(text) == std::string::npos; }, 20s);
    }

    /// Receives five pictures there.
    void expectItArrives(const std::string& name, const std::string& from) const {
        Program monitor(
            m_far.exec({RELIABILITY_MONITOR, name, "--frames", "5", "--wait", "10", "--json"}));
        EXPECT_EQ(monitor.waitFor(30s).value_or(-1), 0) << monitor.output();
        EXPECT_THAT(monitor.output(), HasSubstr(from));
    }

    Wire m_wire;
    Host m_far;
};

void useIpv6(const Host* host, bool yes) {
    const Command command = {"sh", "-c",
                             std::string("for each in /proc/sys/net/ipv6/conf/*/disable_ipv6; do "
                                         "echo ") +
                                 (yes ? "0" : "1") + " >$each; done"};
    runToEnd(host != nullptr ? host->exec(command) : command);
}

TEST_F(Discovery, OverIPv4Only) {
    useIpv6(nullptr, false);
    useIpv6(&m_far, false);
    {
        const Sender sender("Four", 320, 180);
        EXPECT_TRUE(foundThere("(Four)\t10.7.0.1:5961\n")) << listedThere();
        expectItArrives("Four", "10.7.0.1:5961");
    }
    useIpv6(nullptr, true);
}

TEST_F(Discovery, OverIPv6Only) {
    const Command flush = {"ip", "-4", "addr", "flush", "dev"};
    for (const char* device : {"wire", "lo"}) {
        runToEnd(flush + Command{device});
    }
    for (const char* device : {"eth0", "lo"}) {
        m_far.run(flush + Command{device});
    }
    {
        const Sender sender("Six", 320, 180);
        EXPECT_TRUE(foundThere("(Six)")) << listedThere();
        EXPECT_THAT(listedThere(), Not(HasSubstr("10.7.0.1")));
        expectItArrives("Six", "]:5961");
    }
    runToEnd({"ip", "addr", "add", "127.0.0.1/8", "dev", "lo"});
}

TEST_F(Discovery, FollowsTheInterfaceWhileSending) {
    const Sender sender("Cam", 320, 180);
    CrowdProgram viewer(m_far, "10.7.0.1", {"watch:1"});
    EXPECT_TRUE(foundThere("(Cam)\t10.7.0.1:5961")) << listedThere();

    // The cable is pulled for two seconds: the connection outlives that.
    runToEnd({"ip", "link", "set", "port2", "down"});
    sleepFor(2s);
    EXPECT_THAT(listedThere(), Not(HasSubstr("Cam")));
    runToEnd({"ip", "link", "set", "port2", "up"});
    EXPECT_TRUE(foundThere("(Cam)")) << listedThere();
    sleepFor(3s);
    const ViewerReport seen = sumOf(viewer.end(), Role::Watch);
    EXPECT_EQ(seen.connections, 1U);
    EXPECT_EQ(seen.dropped, 0U);
    EXPECT_GT(seen.pictures, kSanitized ? 10U : 100U);
    EXPECT_GT(seen.lost, 0U) << "the cable was not pulled";

    // The interface goes and comes back, and then gets another address.
    runToEnd({"ip", "link", "set", "wire", "down"});
    sleepFor(1s);
    runToEnd({"ip", "link", "set", "wire", "up"});
    EXPECT_TRUE(foundThere("10.7.0.1:5961")) << listedThere();
    runToEnd({"ip", "addr", "add", "10.7.0.99/24", "dev", "wire"});
    runToEnd({"ip", "addr", "del", "10.7.0.1/24", "dev", "wire"});
    runToEnd({"ip", "addr", "replace", "10.7.0.99/24", "dev", "wire"});
    EXPECT_TRUE(foundThere("10.7.0.99:5961")) << listedThere();
    EXPECT_TRUE(goneThere("10.7.0.1:5961")) << listedThere();
    expectItArrives("Cam", "\"");
}

TEST_F(Discovery, TwoMachinesAndThreeProgramsWantOneName) {
    const testsupport::LogFile log;
    Program rival(m_far.exec({RELIABILITY_SENDER, "Cam"}));
    ASSERT_TRUE(rival.says("ready")) << rival.output();
    {
        // Our own name is taken by a machine of the same name.
        const Sender refused("Cam", 64, 64);
        EXPECT_EQ(refused.instance(), nullptr);
        EXPECT_TRUE(log.says("the name is in use on the network"));
    }
    Program first({RELIABILITY_SENDER, "Cam"});
    Program second({RELIABILITY_SENDER, "Cam"});
    Program third({RELIABILITY_SENDER, "Cam"});
    for (const Program* program : {&first, &second, &third}) {
        EXPECT_TRUE(program->says("ready")) << program->output();
    }
    EXPECT_TRUE(foundThere("(Cam1)"));
    std::set<std::string> names;
    std::set<std::string> addresses;
    std::istringstream lines(listedThere());
    for (std::string line; std::getline(lines, line);) {
        const auto tab = line.find('\t');
        names.insert(line.substr(line.rfind('(', tab), tab - line.rfind('(', tab)));
        addresses.insert(line.substr(tab + 1, line.find(' ', tab) - tab - 1));
    }
    EXPECT_EQ(names, (std::set<std::string>{"(Cam)", "(Cam1)", "(Cam2)", "(Cam3)"}));
    EXPECT_EQ(addresses.size(), 4U) << "ports do not collide";
    expectItArrives("Cam2", "10.7.0.1:");

    // Who crashes says no goodbye: who asks afterwards gets no answer, the others are still there.
    second.signal(SIGKILL);
    rival.signal(SIGKILL);
    EXPECT_TRUE(goneThere("(Cam)")) << listedThere();
    const std::string left = listedThere();
    EXPECT_EQ(std::count(left.begin(), left.end(), '\n'), 2) << left;
}

/// What others remember of a crashed source is gone when its time to live is over.
TEST_F(Discovery, ACrashIsForgottenAfterTheTimeToLive) {
    if (!longForm()) {
        GTEST_SKIP() << "takes two minutes; RELIABILITY_LONG=1";
    }
    const testing_programs::AvahiDaemon witness;
    Program crashing(m_far.exec({RELIABILITY_SENDER, "Crash"}));
    ASSERT_TRUE(crashing.says("ready"));
    const auto resolves = [] {
        return testing_programs::AvahiDaemon::browse().find(";10.7.0.2;5961;") != std::string::npos;
    };
    EXPECT_TRUE(eventually(resolves, 10s));
    crashing.signal(SIGKILL);
    EXPECT_TRUE(resolves()) << "remembered";
    sleepFor(125s);
    EXPECT_FALSE(resolves());
}

}  // namespace
}  // namespace reliability
