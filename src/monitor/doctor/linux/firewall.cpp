#include <fmt/format.h>

#include "monitor/doctor/checks.h"
#include "monitor/doctor/linux/command.h"
#include "monitor/doctor/linux/ruleset.h"

namespace monitor::doctor {
namespace {

constexpr char kCheck[] = "firewall";
constexpr int kNotInstalled = 127;

struct Need {
    Packet packet;
    const char* what;
    const char* meaning;
    const char* firewalld;  ///< What firewall-cmd is asked; nothing to ask when null.
};

const Need kNeeds[] = {
    {{true, false, 5353},
     "multicast DNS from the network (UDP port 5353)",
     "receivers can't find the sources of this machine",
     "firewall-cmd --query-service=mdns || firewall-cmd --query-service=tarsinndi || "
     "firewall-cmd --query-port=5353/udp"},
    {{false, false, 5353},
     "multicast DNS to the network (UDP port 5353)",
     "the sources of this machine can't be announced",
     nullptr},
    {{true, true, 5961},
     "receivers of a source (TCP port 5961)",
     "receivers find the sources of this machine but can't connect",
     "firewall-cmd --query-service=tarsinndi || firewall-cmd --query-port=5961/tcp"},
};

/// What this machine's firewall consists of.
struct Firewall {
    CommandResult nft = run("nft --json list ruleset");
    CommandResult iptables = run("iptables -S");
    CommandResult ip6tables = run("ip6tables -S");
    bool ufw = run("ufw status").output.find("Status: active") != std::string::npos;
    bool firewalld = run("firewall-cmd --state").code == 0;

    [[nodiscard]] bool installed() const {
        return nft.code != kNotInstalled || iptables.code != kNotInstalled;
    }
    [[nodiscard]] bool readable() const { return nft.code == 0 || iptables.code == 0; }

    [[nodiscard]] std::string names() const {
        std::string text = nft.code == 0 ? "nftables" : "";
        text += iptables.code == 0 ? (text.empty() ? "iptables" : ", iptables") : "";
        text += ip6tables.code == 0 ? ", ip6tables" : "";
        text += ufw ? ", ufw" : "";
        return text + (firewalld ? ", firewalld" : "");
    }

    [[nodiscard]] const char* advice() const {
        return ufw ? "sudo ufw allow TarsinNDI, or: sudo ufw allow 5353/udp; sudo ufw allow "
                     "5961:5980/tcp"
               : firewalld
                   ? "sudo firewall-cmd --permanent --add-service=tarsinndi; sudo firewall-cmd "
                     "--reload"
                   : "change that rule, or put one before it that accepts UDP port 5353 and "
                     "TCP ports 5961 to 5980";
    }
};

/// By the rules alone.
Decision decide(const Firewall& firewall, const Packet& packet) {
    // The tables that iptables and firewalld keep are read through their own tools.
    std::vector<std::string> others = {"inet firewalld", "ip firewalld", "ip6 firewalld"};
    const CommandResult& tables = packet.v6 ? firewall.ip6tables : firewall.iptables;
    Decision decision;
    if (tables.code == 0) {
        others.emplace_back(packet.v6 ? "ip6 filter" : "ip filter");
        decision = decide(parseIptables(tables.output, packet));
    }
    const auto byNft = decide(parseNft(firewall.nft.output, packet, others));
    return byNft.blocked > decision.blocked ? byNft : decision;
}

Decision decide(const Firewall& firewall, const Need& need) {
    Decision decision = decide(firewall, need.packet);
    if (firewall.firewalld && need.firewalld != nullptr && run(need.firewalld).code != 0) {
        decision = {Match::Yes, "the default zone of firewalld"};
    }
    return decision;
}

Finding describe(const Firewall& firewall, const Need& need, const Decision& decision) {
    const bool certain = decision.blocked == Match::Yes;
    return {certain ? Level::Problem : Level::Warning, kCheck,
            fmt::format("{} {} {}", decision.rule, certain ? "blocks" : "may block", need.what),
            need.meaning, firewall.advice()};
}

Findings describe(const Firewall& firewall, const Need& need) {
    const Decision decision = decide(firewall, need);
    Packet v6 = need.packet;
    v6.v6 = true;
    const Decision byV6 = decide(firewall, v6);
    Findings findings;
    if (decision.blocked != Match::No) {
        findings.push_back(describe(firewall, need, decision));
    }
    if (byV6.blocked > decision.blocked) {
        Finding finding = describe(firewall, need, byV6);
        finding.level = Level::Warning;  // Most receivers use IPv4.
        finding.finding += " over IPv6";
        finding.meaning = "over IPv6 " + finding.meaning;
        findings.push_back(finding);
    }
    return findings;
}

}  // namespace

Findings checkFirewall() {
    const Firewall firewall;
    if (!firewall.installed()) {
        return {{Level::Ok, kCheck, "neither nft nor iptables is installed", "", ""}};
    }
    if (!firewall.readable()) {
        return {{Level::Warning, kCheck, "its rules can't be read: not permitted",
                 "whether it blocks sources is not known",
                 "run ndimonitor --doctor as root: sudo ndimonitor --doctor"}};
    }
    Findings findings;
    for (const auto& need : kNeeds) {
        const Findings some = describe(firewall, need);
        findings.insert(findings.end(), some.begin(), some.end());
    }
    if (findings.empty()) {
        findings.push_back(
            {Level::Ok, kCheck, fmt::format("nothing is blocked ({})", firewall.names()), "", ""});
    }
    return findings;
}

}  // namespace monitor::doctor
