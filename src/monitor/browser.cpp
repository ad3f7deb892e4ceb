#include "monitor/browser.h"

#include <algorithm>
#include <string_view>

#include "mdns/dns.h"

namespace monitor {
namespace {

bool sameText(std::string_view a, std::string_view b) {
    return mdns::dns::sameName({std::string(a)}, {std::string(b)});
}

/// "Name" from "MACHINE (Name)"; the whole name if it has no brackets.
std::string_view bracketPart(std::string_view name) {
    const auto open = name.find(" (");
    if (open == std::string_view::npos || name.back() != ')') {
        return name;
    }
    return name.substr(open + 2, name.size() - open - 3);
}

template <typename Condition>
FoundSources filtered(const FoundSources& sources, const Condition& condition) {
    FoundSources found;
    std::copy_if(sources.begin(), sources.end(), std::back_inserter(found), condition);
    return found;
}

int rank(const asio::ip::tcp::endpoint& endpoint) {
    const auto address = endpoint.address();
    return address.is_v4() ? 0 : address.to_v6().is_link_local() ? 2 : 1;
}

}  // namespace

FoundSources browse(std::chrono::milliseconds limit, const Enough& enough) {
    auto found = browseThroughDaemon(limit, enough);
    return found ? *found : browseByMulticast(limit, enough);
}

FoundSources matching(const FoundSources& sources, const std::string& wanted) {
    auto found = filtered(sources, [&](const auto& source) { return source.name == wanted; });
    if (found.empty()) {
        found =
            filtered(sources, [&](const auto& source) { return sameText(source.name, wanted); });
    }
    if (found.empty()) {
        found = filtered(sources, [&](const auto& source) {
            return sameText(bracketPart(source.name), wanted);
        });
    }
    return found;
}

void addEndpoint(FoundSource& source, const asio::ip::tcp::endpoint& endpoint) {
    auto& all = source.endpoints;
    if (std::find(all.begin(), all.end(), endpoint) == all.end()) {
        all.push_back(endpoint);
        std::stable_sort(all.begin(), all.end(),
                         [](const auto& a, const auto& b) { return rank(a) < rank(b); });
    }
}

}  // namespace monitor
