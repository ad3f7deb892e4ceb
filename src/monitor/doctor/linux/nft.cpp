#include <algorithm>
#include <nlohmann/json.hpp>

#include "monitor/doctor/linux/ruleset.h"

namespace monitor::doctor {
namespace {

using Json = nlohmann::json;

/// Also the protocol's name in a match.
const char* familyOf(const Packet& packet) {
    return packet.v6 ? "ip6" : "ip";
}

Match matchOf(bool matches) {
    return matches ? Match::Yes : Match::No;
}

/// Whether `right` is, or contains, the value. Named sets are not looked up.
Match contains(const Json& right, const Json& value) {
    if (right.is_object() && right.contains("set")) {
        return contains(right["set"], value);
    }
    if (right.is_object() && right.contains("range") && value.is_number()) {
        return matchOf(right["range"][0] <= value && value <= right["range"][1]);
    }
    if (right.is_array()) {
        Match found = Match::No;
        for (const auto& each : right) {
            found = std::max(found, contains(each, value));
        }
        return found;
    }
    const bool named = right.is_string() && !right.get<std::string>().empty() &&
                       right.get<std::string>().front() == '@';
    return right.is_object() || named ? Match::Maybe : matchOf(right == value);
}

Match payload(const Json& left, const Json& right, const Packet& packet) {
    const std::string protocol = left.value("protocol", "");
    const std::string field = left.value("field", "");
    if (protocol == "tcp" || protocol == "udp" || protocol == "th") {
        if (protocol != "th" && (protocol == "tcp") != packet.tcp) {
            return Match::No;
        }
        return field == "dport" || (field == "sport" && !packet.tcp) ? contains(right, packet.port)
                                                                     : Match::Maybe;
    }
    if (protocol == "icmp" || protocol == "icmpv6" || protocol == (packet.v6 ? "ip" : "ip6")) {
        return Match::No;
    }
    if (protocol != familyOf(packet)) {
        return Match::Maybe;
    }
    if (field == "protocol" || field == "nexthdr") {
        return contains(right, packet.tcp ? "tcp" : "udp");
    }
    if (field == "daddr" && !packet.tcp && right.is_string()) {
        return matchOf(right == packet.group());
    }
    return Match::Maybe;
}

Match meta(const std::string& key, const Json& right, const Packet& packet) {
    if (key == "l4proto") {
        return contains(right, packet.tcp ? "tcp" : "udp");
    }
    if (key == "nfproto") {
        return contains(right, packet.v6 ? "ipv6" : "ipv4");
    }
    if (key == "protocol") {
        return contains(right, familyOf(packet));
    }
    const bool interface_ = key == "iifname" || key == "iif" || key == "oifname" || key == "oif";
    return interface_ && right == "lo" ? Match::No : Match::Maybe;
}

Match condition(const Json& match, const Packet& packet) {
    const auto& left = match["left"];
    const auto& right = match["right"];
    Match result = Match::Maybe;
    if (left.contains("payload")) {
        result = payload(left["payload"], right, packet);
    } else if (left.contains("meta")) {
        result = meta(left["meta"].value("key", ""), right, packet);
    } else if (left.contains("ct") && left["ct"].value("key", "") == "state") {
        result = contains(right, "new");
    }
    if (match.value("op", "") != "!=" || result == Match::Maybe) {
        return result;
    }
    // "tcp dport != 22" still asks for TCP.
    const std::string protocol =
        left.contains("payload") ? left["payload"].value("protocol", "") : "";
    const bool otherProtocol =
        (protocol == "tcp" && !packet.tcp) || (protocol == "udp" && packet.tcp);
    return otherProtocol ? Match::No : matchOf(result == Match::No);
}

/// Sets the verdict that a statement is, if it is one.
void addVerdict(const std::string& kind, const Json& statement, const std::string& table,
                Rule& rule) {
    if (kind == "accept") {
        rule.verdict = Rule::Verdict::Accept;
    } else if (kind == "drop" || kind == "reject") {
        rule.verdict = Rule::Verdict::Drop;
    } else if (kind == "return") {
        rule.verdict = Rule::Verdict::Return;
    } else if (kind == "jump" || kind == "goto") {
        rule.verdict = kind == "jump" ? Rule::Verdict::Jump : Rule::Verdict::Goto;
        rule.target = table + " " + statement.value("target", "");
    }
}

/// A map from values to verdicts. That of a new connection is known; others may accept.
void addMap(const Json& map, const std::string& table, Rule& rule) {
    const auto& key = map["key"];
    if (!key.contains("ct") || key["ct"].value("key", "") != "state") {
        rule.match = std::min(rule.match, Match::Maybe);
        rule.verdict = Rule::Verdict::Accept;
        return;
    }
    for (const auto& entry : map["data"]["set"]) {
        if (contains(entry[0], "new") == Match::Yes) {
            const auto statement = entry[1].begin();
            addVerdict(statement.key(), statement.value(), table, rule);
        }
    }
}

Rule ruleOf(const Json& json, const std::string& table, const Packet& packet) {
    Rule rule;
    rule.text = "a rule in nftables' chain " + table + " " + json.value("chain", "") + " (handle " +
                std::to_string(json.value("handle", 0)) + ")";
    for (const auto& statement : json["expr"]) {
        if (!statement.is_object() || statement.empty()) {
            continue;
        }
        const std::string kind = statement.begin().key();
        const auto& value = statement.begin().value();
        if (kind == "match") {
            rule.match = std::min(rule.match, condition(value, packet));
        } else if (kind == "xt" || kind == "limit") {
            rule.match = std::min(rule.match, Match::Maybe);
        } else if (kind == "vmap") {
            addMap(value, table, rule);
        } else {
            addVerdict(kind, value, table, rule);
        }
    }
    return rule;
}

void addObject(const Json& object, const Packet& packet, const std::vector<std::string>& skipTables,
               Ruleset& ruleset) {
    const bool isRule = object.contains("rule");
    if (!isRule && !object.contains("chain")) {
        return;
    }
    const auto& json = isRule ? object["rule"] : object["chain"];
    const std::string family = json.value("family", "");
    const std::string table = family + " " + json.value("table", "");
    if ((family != familyOf(packet) && family != "inet") ||
        std::find(skipTables.begin(), skipTables.end(), table) != skipTables.end()) {
        return;
    }
    if (isRule) {
        ruleset[table + " " + json.value("chain", "")].rules.push_back(ruleOf(json, table, packet));
        return;
    }
    auto& chain = ruleset[table + " " + json.value("name", "")];
    const std::string hook = json.value("hook", "");
    chain.base =
        hook == "prerouting" ? packet.incoming : hook == (packet.incoming ? "input" : "output");
    chain.policyDrop = json.value("policy", "") == "drop";
}

}  // namespace

Ruleset parseNft(const std::string& json, const Packet& packet,
                 const std::vector<std::string>& skipTables) {
    Ruleset ruleset;
    try {
        const Json parsed = Json::parse(json);
        for (const auto& object : parsed.at("nftables")) {
            addObject(object, packet, skipTables, ruleset);
        }
    } catch (const Json::exception&) {
        return {};
    }
    return ruleset;
}

}  // namespace monitor::doctor
