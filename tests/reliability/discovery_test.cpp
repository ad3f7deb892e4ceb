// Whether a source is found from another machine while networks, names and processes fail.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <set>
#include <sstream>

#include "ndi/wire/sourcename.h"
#include "reliability/hosts.h"
#include "reliability/sending.h"
#include "support/avahidaemon.h"
#include "support/logcapture.h"

namespace reliability {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;
using tests::AvahiDaemon;
using tests::eventually;
using tests::Process;
using tests::runToEnd;
using tests::sleepFor;

/// Another machine, connected by a cable.
class Discovery : public testing::Test {
protected:
    Discovery() { m_wire.plug(m_far, 2); }

    /// The sources that the other machine finds now.
    [[nodiscard]] std::string listedFar() const {
        Process monitor(m_far.exec({RELIABILITY_MONITOR, "--list", "--wait", "1.5"}));
        EXPECT_TRUE(monitor.waitFor(30s));
        return monitor.output();
    }
    [[nodiscard]] bool foundFar(const std::string& text) const {
        return eventually([&] { return listedFar().find(text) != std::string::npos; }, 40s);
    }
    [[nodiscard]] bool goneFar(const std::string& text) const {
        return eventually([&] { return listedFar().find(text) == std::string::npos; }, 40s);
    }

    /// Receives five frames on the other machine.
    void expectFrames(const std::string& name, const std::string& from) const {
        Process monitor(
            m_far.exec({RELIABILITY_MONITOR, name, "--frames", "5", "--wait", "10", "--json"}));
        EXPECT_EQ(monitor.waitFor(60s).value_or(-1), 0) << monitor.output();
        EXPECT_THAT(monitor.output(), HasSubstr(from));
    }

    Wire m_wire;
    Host m_far;
};

/// By our own browser and by Avahi's, on machines and networks with one IP version only.
TEST_F(Discovery, OverIPv6OnlyAndOverIPv4Only) {
    const auto without = [&](const std::string& other, const Command& device) {
        runToEnd(Command{"ip", other, "addr", "flush", "dev"} + device);
    };
    const auto check = [&](const std::string& address, const std::string& notAddress) {
        const AvahiDaemon avahi(m_far.exec({}));
        const Sender sender("Cam", 320, 180);
        EXPECT_TRUE(foundFar("(Cam)")) << listedFar();
        EXPECT_THAT(listedFar(), Not(HasSubstr(notAddress)));
        expectFrames("Cam", "5961");
        EXPECT_TRUE(AvahiDaemon::finds(";" + address + ";5961;")) << AvahiDaemon::browse();
    };
    without("-4", {"wire"});
    m_far.run({"ip", "-4", "addr", "flush", "dev", "eth0"});
    check("fd07::1", "10.7.0.1");

    runToEnd({"ip", "addr", "add", "10.7.0.1/24", "dev", "wire"});
    m_far.run({"ip", "addr", "add", "10.7.0.2/24", "dev", "eth0"});
    without("-6", {"wire"});
    m_far.run({"ip", "-6", "addr", "flush", "dev", "eth0"});
    check("10.7.0.1", "fd07");
}

TEST_F(Discovery, FollowsTheInterfaceWhileSending) {
    const Sender sender("Cam", 320, 180);
    Crowd viewer(m_far, "10.7.0.1", {"watch:1"});
    EXPECT_TRUE(foundFar("(Cam)\t10.7.0.1:5961")) << listedFar();

    // The cable is pulled for two seconds: the connection survives that.
    runToEnd({"ip", "link", "set", "port2", "down"});
    EXPECT_THAT(listedFar(), Not(HasSubstr("Cam")));
    runToEnd({"ip", "link", "set", "port2", "up"});
    EXPECT_TRUE(foundFar("(Cam)")) << listedFar();
    EXPECT_TRUE(eventually([&] { return viewer.soFar().at(0).lost > 0; }, 40s))
        << "the cable was not pulled";
    const Report seen = viewer.end().at(0);
    EXPECT_EQ(seen.connections, 1U);
    EXPECT_EQ(seen.dropped, 0U);

    // The interface goes down and up again, and then gets another address.
    runToEnd({"ip", "link", "set", "wire", "down"});
    sleepFor(1s);
    runToEnd({"ip", "link", "set", "wire", "up"});
    EXPECT_TRUE(foundFar("10.7.0.1:5961")) << listedFar();
    runToEnd({"ip", "addr", "add", "10.7.0.99/24", "dev", "wire"});
    runToEnd({"ip", "addr", "del", "10.7.0.1/24", "dev", "wire"});
    runToEnd({"ip", "addr", "replace", "10.7.0.99/24", "dev", "wire"});
    EXPECT_TRUE(foundFar("10.7.0.99:5961")) << listedFar();
    EXPECT_TRUE(goneFar("10.7.0.1:5961")) << listedFar();
    expectFrames("Cam", "5961");
}

TEST_F(Discovery, TwoMachinesAndThreeProgramsWantOneName) {
    const tests::LogCapture log;
    Process rival(m_far.exec({RELIABILITY_SENDER, "Cam"}));
    ASSERT_TRUE(rival.says("ready")) << rival.output();
    {
        // A machine with our host name has taken the name.
        const Sender refused("Cam", 64, 64);
        EXPECT_EQ(refused.instance(), nullptr);
        EXPECT_TRUE(log.says("the name is in use on the network"));
    }
    Process first({RELIABILITY_SENDER, "Cam"});
    Process second({RELIABILITY_SENDER, "Cam"});
    Process third({RELIABILITY_SENDER, "Cam"});
    for (const Process* program : {&first, &second, &third}) {
        EXPECT_TRUE(program->says("ready")) << program->output();
    }
    const auto lines = [](const std::string& text) {
        return std::count(text.begin(), text.end(), '\n');
    };
    EXPECT_TRUE(eventually([&] { return lines(listedFar()) == 4; }, 40s));
    std::set<std::string> names;
    std::set<std::string> addresses;
    std::istringstream list(listedFar());
    for (std::string line; std::getline(list, line);) {
        const auto tab = line.find('\t');
        names.insert(line.substr(line.rfind('(', tab), tab - line.rfind('(', tab)));
        addresses.insert(line.substr(tab + 1, line.find(' ', tab) - tab - 1));
    }
    EXPECT_EQ(names, (std::set<std::string>{"(Cam)", "(Cam1)", "(Cam2)", "(Cam3)"}));
    EXPECT_EQ(addresses.size(), 4U) << "ports do not collide";
    expectFrames("Cam2", "10.7.0.1:");

    // A crashed source says no goodbye, and answers no query afterwards. The others still do.
    second.signal(SIGKILL);
    rival.signal(SIGKILL);
    EXPECT_TRUE(eventually([&] { return lines(listedFar()) == 2; }, 40s)) << listedFar();
    EXPECT_TRUE(goneFar("(Cam)"));
}

/// Two networks of their own, each with a source of the same name, become one.
class JoinedNetworks : public Discovery {
protected:
    JoinedNetworks() { runToEnd({"ip", "link", "set", "port2", "nomaster"}); }
    static void join() { runToEnd({"ip", "link", "set", "port2", "master", "wire"}); }
};

TEST_F(JoinedNetworks, OneOfTwoSourcesTakesAnotherName) {
    const Sender sender("Cam", 320, 180);
    Process other(m_far.exec({RELIABILITY_SENDER, "Cam"}));
    ASSERT_TRUE(other.says("ready")) << other.output();
    ASSERT_TRUE(foundFar("(Cam)\t10.7.0.2:5961")) << listedFar();
    join();
    EXPECT_TRUE(foundFar("(Cam1)\t")) << listedFar();
    const std::string list = listedFar();
    EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), 2) << list;
    EXPECT_THAT(list, testing::AllOf(HasSubstr("(Cam)\t"), HasSubstr("10.7.0.1:5961"),
                                     HasSubstr("10.7.0.2:5961")));
    expectFrames("Cam", "5961");
    expectFrames("Cam1", "5961");
}

TEST_F(JoinedNetworks, OneOfASourceAndAForeignServiceTakesAnotherName) {
    const Sender sender("Cam", 320, 180);
    const AvahiDaemon avahi(m_far.exec({}));
    const std::string name = ndi::wire::instanceName(ndi::wire::machineName(), "Cam");
    const auto foreign = AvahiDaemon::tool({"avahi-publish", "-s", name, "_ndi._tcp", "7000"});
    ASSERT_TRUE(foreign->says("Established"));
    join();
    std::set<std::string> names;
    EXPECT_TRUE(eventually(
        [&] {
            names.clear();
            std::istringstream found(AvahiDaemon::browse());
            for (std::string line; std::getline(found, line);) {
                if (line.find(";10.7.0.1;5961;") != std::string::npos ||
                    line.find(";10.7.0.2;7000;") != std::string::npos) {
                    // "=;interface;protocol;name;..."
                    const auto at = line.find(';', line.find(';', 2) + 1);
                    names.insert(line.substr(at, line.find(";_ndi") - at));
                }
            }
            return names.size() == 2;
        },
        40s))
        << AvahiDaemon::browse();
}

}  // namespace
}  // namespace reliability
