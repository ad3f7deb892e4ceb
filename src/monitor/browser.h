#pragma once
// Which NDI sources are on the network.

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

/// Asked whenever something new was found, and ten times a second: true ends the search.
using Enough = std::function<bool(const FoundSources&)>;

/// Searches until `enough` or `limit`: through the Avahi daemon when one runs, else by asking the
/// network itself. The sources are those whose address is known, ordered by name.
[[nodiscard]] FoundSources browse(std::chrono::milliseconds limit, const Enough& enough);

/// The two ways. The first gives nothing where no daemon runs.
[[nodiscard]] std::optional<FoundSources> browseThroughDaemon(std::chrono::milliseconds limit,
                                                              const Enough& enough);
[[nodiscard]] FoundSources browseByMulticast(std::chrono::milliseconds limit, const Enough& enough);

/// The sources that `wanted` may mean: the one with exactly this full name; else those with it as
/// full name, else as the part in brackets, whatever the case of ASCII letters.
[[nodiscard]] FoundSources matching(const FoundSources& sources, const std::string& wanted);

/// Adds `endpoint` to `source` in its place, once.
void addEndpoint(FoundSource& source, const asio::ip::tcp::endpoint& endpoint);

}  // namespace monitor
