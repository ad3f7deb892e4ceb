#include <algorithm>
#include <charconv>
#include <sstream>

#include "monitor/doctor/linux/ruleset.h"

namespace monitor::doctor {
namespace {

using Words = std::vector<std::string>;

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) {
        parts.push_back(part);
    }
    return parts;
}

int number(const std::string& text) {
    int value = -1;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

/// "5353", "5961:5980", "22,5353", ":1024".
Match portMatch(const std::string& ports, std::uint16_t port) {
    for (const auto& part : split(ports, ',')) {
        const auto colon = part.find(':');
        const int from = colon == 0 ? 0 : number(part);
        const int to = colon == std::string::npos ? from
                       : colon + 1 == part.size() ? 65535
                                                  : number(part.substr(colon + 1));
        if (from <= port && port <= to) {
            return Match::Yes;
        }
    }
    return Match::No;
}

Match yesOrNo(bool matches) {
    return matches ? Match::Yes : Match::No;
}

Match condition(const std::string& option, const std::string& value, const Packet& packet) {
    if (option == "-p") {
        return yesOrNo(value == "all" || value == (packet.tcp ? "tcp" : "udp"));
    }
    if (option == "--dport" || option == "--dports" || (option == "--sport" && !packet.tcp)) {
        return portMatch(value, packet.port);
    }
    if (option == "-i" || option == "-o") {
        return value == "lo" ? Match::No : Match::Maybe;
    }
    if (option == "-d" && value == packet.group() + std::string(packet.v6 ? "/128" : "/32")) {
        return yesOrNo(!packet.tcp);
    }
    if (option == "--ctstate" || option == "--state") {
        const auto states = split(value, ',');
        return yesOrNo(std::find(states.begin(), states.end(), "NEW") != states.end());
    }
    return Match::Maybe;
}

Match opposite(Match match) {
    return match == Match::Maybe ? match : yesOrNo(match == Match::No);
}

void setTarget(const std::string& option, const std::string& target, Rule& rule) {
    if (target == "ACCEPT") {
        rule.verdict = Rule::Verdict::Accept;
    } else if (target == "DROP" || target == "REJECT") {
        rule.verdict = Rule::Verdict::Drop;
    } else if (target == "RETURN") {
        rule.verdict = Rule::Verdict::Return;
    } else {
        rule.verdict = option == "-g" ? Rule::Verdict::Goto : Rule::Verdict::Jump;
        rule.target = target;
    }
}

/// `words` are those behind "-A CHAIN".
Rule ruleOf(const Words& words, const Packet& packet) {
    Rule rule;
    bool negated = false;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string value = i + 1 < words.size() ? words[i + 1] : "";
        if (words[i] == "!") {
            negated = true;
        } else if (words[i] == "-j" || words[i] == "-g") {
            setTarget(words[i], value, rule);
            break;  // What follows are the target's own options.
        } else if (words[i] == "-m") {
            ++i;
        } else if (words[i].front() == '-') {
            const Match match = condition(words[i], value, packet);
            rule.match = std::min(rule.match, negated ? opposite(match) : match);
            negated = false;
        }
    }
    return rule;
}

}  // namespace

Ruleset parseIptables(const std::string& listing, const Packet& packet) {
    Ruleset ruleset;
    for (const auto& line : split(listing, '\n')) {
        Words words = split(line, ' ');
        words.erase(std::remove(words.begin(), words.end(), ""), words.end());
        if (words.size() < 2) {
            continue;
        }
        auto& chain = ruleset[words[1]];
        if (words[0] == "-P") {
            chain.base = words[1] == (packet.incoming ? "INPUT" : "OUTPUT");
            chain.policyDrop = words.back() == "DROP";
        } else if (words[0] == "-A") {
            chain.rules.push_back(ruleOf(Words(words.begin() + 2, words.end()), packet));
            chain.rules.back().text =
                std::string(packet.v6 ? "the ip6tables rule \"" : "the iptables rule \"") + line +
                "\"";
        }
    }
    return ruleset;
}

}  // namespace monitor::doctor
