#pragma once
// Finds the NDI sources on the network.

#include <asio/ip/tcp.hpp>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace monitor {

struct FoundSource {
    std::string name;                                ///< "MACHINE (Name)".
    std::vector<asio::ip::tcp::endpoint> endpoints;  ///< IPv4 first, link-local IPv6 last.
};
using FoundSources = std::vector<FoundSource>;

/// Called after every answer from the network and at least ten times per second; true ends the
/// search.
using Enough = std::function<bool(const FoundSources&)>;

/// Searches until `enough` returns true or `limit` has passed: through the Avahi daemon if it runs,
/// else by multicast DNS. Returns the sources whose address is known, ordered by name.
[[nodiscard]] FoundSources browse(std::chrono::milliseconds limit, const Enough& enough);

/// The two ways of searching. The first returns nothing if no daemon runs.
[[nodiscard]] std::optional<FoundSources> browseThroughDaemon(std::chrono::milliseconds limit,
                                                              const Enough& enough);
[[nodiscard]] FoundSources browseByMulticast(std::chrono::milliseconds limit, const Enough& enough);

/// The sources that `wanted` may mean: the one with exactly this full name; else those with this
/// full name in other case; else those whose part in brackets is this name. Only the case of ASCII
/// letters is ignored.
[[nodiscard]] FoundSources matching(const FoundSources& sources, const std::string& wanted);

/// Inserts `endpoint` in the order given above, unless `source` has it already.
void addEndpoint(FoundSource& source, const asio::ip::tcp::endpoint& endpoint);

}  // namespace monitor
