// ndimonitor --doctor, in a private network with real firewall rules, ports and sources.
#include <gmock/gmock.h>

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <cstdlib>
#include <list>
#include <nlohmann/json.hpp>

#include "monitor/doctor/checks.h"
#include "monitor/doctor/linux/ruleset.h"
#include "reliability/hosts.h"
#include "reliability/sending.h"
#include "support/hostname.h"
#include "support/process.h"

namespace monitor::doctor {
namespace {

using testing::HasSubstr;
using Json = nlohmann::json;

/// The findings of a run that ends with this exit code.
Json diagnose(int code) {
    tests::Process program({"env", "-u", "DISPLAY", "-u", "WAYLAND_DISPLAY", TARSIN_MONITOR,
                            "--doctor", "--json", "--wait", "1"});
    EXPECT_EQ(program.waitFor(std::chrono::seconds(60)), code) << program.output();
    const auto output = program.output();
    const auto json = Json::parse(output.substr(std::min(output.find("{\"well\""), output.size())));
    EXPECT_EQ(json["well"], code == 0);
    return json["findings"];
}

/// "level finding" of each finding of a check, one per line.
std::string of(const Json& findings, const std::string& check) {
    std::string lines;
    for (const auto& each : findings) {
        if (each["check"] == check) {
            lines +=
                each["level"].get<std::string>() + " " + each["finding"].get<std::string>() + "\n";
            EXPECT_EQ(each["level"] == "ok", each["advice"] == "") << each;
        }
    }
    return lines;
}

void run(const std::string& command) {
    ASSERT_EQ(std::system(("PATH=$PATH:/usr/sbin:/sbin; " + command).c_str()), 0) << command;
}

TEST(Doctor, FindsNothingWrongWithASource) {
    const reliability::Sender source("first", 320, 240, 50);
    const auto findings = diagnose(0);
    EXPECT_THAT(of(findings, "multicast DNS"), HasSubstr("ok lo (IPv4): a query and its answer"));
    EXPECT_THAT(of(findings, "firewall"), HasSubstr("ok nothing is blocked"));
    EXPECT_THAT(of(findings, "sources"), HasSubstr("(first) at 127.0.0.1:5961 sends frames"));
    EXPECT_THAT(of(findings, "clocks"), HasSubstr("ok "));
    EXPECT_THAT(of(findings, "ports"), HasSubstr("ok 1 of the TCP ports 5961 to 5980"));
    EXPECT_THAT(of(findings, "names"), "");
    const std::string bus = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    EXPECT_THAT(of(findings, "Avahi"),
                HasSubstr(bus.find("no-bus") == std::string::npos ? "ok avahi " : "ok not used"));
}

TEST(Doctor, FindsFirewallRulesThatBlock) {
    run("nft add table inet t; nft 'add chain inet t in { type filter hook input priority 0; }';"
        "nft add rule inet t in tcp dport 22 accept; nft add rule inet t in udp dport 5353 drop");
    auto findings = diagnose(1);
    EXPECT_THAT(of(findings, "multicast DNS"),
                HasSubstr("problem lo (IPv4): a query sent here did"));
    EXPECT_THAT(
        of(findings, "firewall"),
        HasSubstr("problem a rule in nftables' chain inet t in (handle 3) blocks multicast"));
    run("nft delete table inet t");

    run("iptables -A INPUT -i lo -j ACCEPT; iptables -P INPUT DROP; iptables -N mine;"
        "iptables -A INPUT -m conntrack --ctstate RELATED,ESTABLISHED -j ACCEPT;"
        "iptables -A INPUT -j mine; iptables -A mine -p udp -m multiport --dports 53,5353 -j "
        "ACCEPT");
    findings = diagnose(1);
    EXPECT_EQ(of(findings, "firewall"),
              "problem the policy of chain INPUT blocks receivers of a source (TCP port 5961)\n");
    run("iptables -I mine -s 10.0.0.0/8 -p tcp --dport 5961:5980 -j ACCEPT");
    EXPECT_THAT(of(diagnose(0), "firewall"),
                HasSubstr("warning the policy of chain INPUT may block"));
    run("iptables -P INPUT ACCEPT; iptables -F; iptables -X");

    run("ip6tables -P INPUT DROP; ip6tables -A INPUT -d ff02::fb/128 -p udp --dport 5353 -j ACCEPT;"
        "nft add table ip6 t; nft 'add chain ip6 t out { type filter hook output priority 0; }';"
        "nft add rule ip6 t out ip6 daddr ff02::fb udp dport 5353 drop");
    EXPECT_EQ(of(diagnose(0), "firewall"),
              "warning a rule in nftables' chain ip6 t out (handle 2) blocks multicast DNS to the "
              "network (UDP port 5353) over IPv6\n"
              "warning the policy of chain INPUT blocks receivers of a source (TCP port 5961) over "
              "IPv6\n");
    run("nft delete table ip6 t; ip6tables -A INPUT -p tcp --dport 5961:5980 -j ACCEPT");
    EXPECT_THAT(of(diagnose(0), "firewall"), HasSubstr("ok nothing is blocked"));
    run("ip6tables -P INPUT ACCEPT; ip6tables -F");
}

TEST(Doctor, CountsPortsInUse) {
    asio::io_context context;
    std::list<asio::ip::tcp::acceptor> acceptors;
    for (std::uint16_t port = 5961; port <= 5980; ++port) {
        acceptors.emplace_back(context, asio::ip::tcp::endpoint(asio::ip::tcp::v4(), port));
    }
    EXPECT_THAT(of(diagnose(0), "ports"),
                HasSubstr("warning 20 of the TCP ports 5961 to 5980 are in "
                          "use; the next source takes 5981"));
}

TEST(Doctor, SeesOtherMachines) {
    reliability::Wire wire;
    const reliability::Host far;  // Of this machine's name.
    wire.plug(far, 2);
    const tests::Process source(
        far.exec({"env", "DBUS_SYSTEM_BUS_ADDRESS=unix:path=/no-bus", RELIABILITY_SENDER, "Far"}));
    ASSERT_TRUE(source.says("ready"));
    auto findings = diagnose(1);
    EXPECT_THAT(of(findings, "interfaces"), HasSubstr("ok wire (10.7.0.1"));
    EXPECT_THAT(of(findings, "names"), HasSubstr("problem another machine is called " +
                                                 support::hostName() + " too: 10.7.0.2"));
    EXPECT_THAT(of(findings, "sources"), HasSubstr("(Far) at 10.7.0.2:5961 sends frames"));

    far.run(
        {"sh", "-c",
         "PATH=$PATH:/usr/sbin; nft add table inet t; nft 'add chain inet t in { type filter hook "
         "input priority 0; }'; nft add rule inet t in tcp dport 5961 reject"});
    EXPECT_THAT(
        of(diagnose(1), "sources"),
        HasSubstr("(Far) is announced but can't be reached: connecting to 10.7.0.2:5961 failed"));
}

TEST(Doctor, ComparesMachines) {
    const auto source = [](const char* name, const char* address) {
        return FoundSource{name, {{asio::ip::make_address(address), 5961}}};
    };
    EXPECT_EQ(checkMachineNames({source("PC (a)", "10.0.0.5"), source("PC (b)", "10.0.0.5"),
                                 source("TV (a)", "10.0.0.6")})
                  .size(),
              0U);
    EXPECT_EQ(
        checkMachineNames({source("PC (a)", "10.0.0.5"), source("PC (b)", "10.0.0.6")}).size(), 1U);
    EXPECT_EQ(describeClock("PC (a)", 12).level, Level::Ok);
    EXPECT_THAT(describeClock("PC (a)", -1500).finding, HasSubstr("1.50 s ahead of this one's"));
    EXPECT_THAT(describeClock("PC (a)", 90000).finding, HasSubstr("90.00 s behind"));
}

/// What these rules of a chain "in" do to multicast DNS from the network.
Match blockedByNft(const std::string& rules, const char* policy = "accept") {
    return decide(
               parseNft(R"({"nftables":[{"chain":{"family":"inet","table":"t","name":"in","hook":)"
                        R"("input","policy":")" +
                            std::string(policy) +
                            R"("}},{"chain":{"family":"inet","table":"t","name":"sub"}})" + rules +
                            "]}",
                        {true, false, 5353}, {}))
        .blocked;
}

std::string rule(const std::string& chain, const std::string& expressions) {
    return R"(,{"rule":{"family":"inet","table":"t","chain":")" + chain + R"(","expr":[)" +
           expressions + "]}}";
}

TEST(Ruleset, FollowsNftables) {
    const std::string drop = R"({"drop":null})";
    const std::string accept = R"({"accept":null})";
    const std::string toSub = R"({"jump":{"target":"sub"}})";
    const auto match = [](const char* left, const char* right, const char* op = "==") {
        return std::string(R"({"match":{"op":")") + op + R"(","left":)" + left + R"(,"right":)" +
               right + "}},";
    };
    const char* const udpPort = R"({"payload":{"protocol":"udp","field":"dport"}})";
    const char* const tcpPort = R"({"payload":{"protocol":"tcp","field":"dport"}})";
    const char* const from = R"({"payload":{"protocol":"ip","field":"saddr"}})";
    const char* const state = R"({"ct":{"key":"state"}})";
    const char* const interface_ = R"({"meta":{"key":"iifname"}})";
    const struct {
        std::string rules;
        const char* policy;
        Match blocked;
    } cases[] = {
        {"", "drop", Match::Yes},
        {rule("in", match(udpPort, R"({"set":[53,{"range":[5000,6000]}]})") + drop), "accept",
         Match::Yes},
        {rule("in", match(udpPort, "5353", "!=") + drop), "accept", Match::No},
        {rule("in", match(tcpPort, "22", "!=") + drop), "accept", Match::No},
        {rule("in", match(udpPort, "\"@ports\"") + accept), "drop", Match::Maybe},
        {rule("in", match(from, "\"10.0.0.9\"") + drop), "accept", Match::Maybe},
        {rule("in", match(state, R"(["established","related"])") + accept), "drop", Match::Yes},
        {rule("in", match(interface_, "\"lo\"") + accept), "drop", Match::Yes},
        {rule("in", toSub) + rule("sub", accept), "drop", Match::No},
        {rule("in", toSub) + rule("sub", R"({"return":null})") + rule("sub", accept), "drop",
         Match::Yes},
        {rule("in", R"({"vmap":{"key":{"ct":{"key":"state"}},"data":{"set":[["established",)"
                    R"({"accept":null}],["new",{"jump":{"target":"sub"}}]]}}})") +
             rule("sub", drop),
         "accept", Match::Yes},
        {rule("in", R"({"xt":{"type":"match","name":"owner"}},)" + drop), "accept", Match::Maybe},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(blockedByNft(each.rules, each.policy), each.blocked) << each.rules;
    }
    EXPECT_TRUE(parseNft("nonsense", {}, {}).empty());
}

}  // namespace
}  // namespace monitor::doctor
