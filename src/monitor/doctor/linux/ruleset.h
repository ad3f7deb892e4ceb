#pragma once
// What firewall rules do to one kind of packet. Rules are read as the tools list them:
// nft --json (libnftables-json(5)), iptables -S and ip6tables -S (iptables(8)).

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace monitor::doctor {

/// The first packet of a conversation with another machine.
struct Packet {
    bool incoming = true;
    bool tcp = false;
    std::uint16_t port = 0;  ///< Destination. UDP port 5353 goes to group().
    bool v6 = false;

    /// That of multicast DNS.
    [[nodiscard]] const char* group() const { return v6 ? "ff02::fb" : "224.0.0.251"; }
};

enum class Match { No, Maybe, Yes };

struct Rule {
    enum class Verdict { None, Accept, Drop, Jump, Goto, Return };

    Match match = Match::Yes;  ///< Maybe: it depends on what a Packet leaves open.
    Verdict verdict = Verdict::None;
    std::string target;  ///< Of a jump.
    std::string text;    ///< For the user.
};

struct Chain {
    bool base = false;  ///< It is where packets of this direction come in.
    bool policyDrop = false;
    std::vector<Rule> rules;
};

/// By name; those of nft are "family table chain".
using Ruleset = std::map<std::string, Chain>;

/// The rules for packets of the packet's IP version. `skipTables`: names ("ip filter") of tables
/// that are left out. Empty when `json` can't be read.
[[nodiscard]] Ruleset parseNft(const std::string& json, const Packet& packet,
                               const std::vector<std::string>& skipTables);
/// `listing`: of iptables, or of ip6tables for a packet of IPv6.
[[nodiscard]] Ruleset parseIptables(const std::string& listing, const Packet& packet);

struct Decision {
    Match blocked = Match::No;
    std::string rule;  ///< The one that blocks.
};

/// A packet must pass every base chain.
[[nodiscard]] Decision decide(const Ruleset& ruleset);

}  // namespace monitor::doctor
