#pragma once
// One connection to a source: requests its video and receives it.

#include <asio/ip/tcp.hpp>
#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "monitor/options.h"
#include "monitor/reception.h"

namespace monitor {

struct Target {
    std::string name;  ///< As messages and the report call it.
    std::vector<asio::ip::tcp::endpoint> endpoints;
};

/// Called with one line for the user whenever the source's format or tally changes. On receive()'s
/// thread.
using Tell = std::function<void(const std::string& line)>;

/// Connects to the first endpoint that accepts and receives what `options` ask for. Blocks until
/// that has arrived, `interrupted` becomes true (checked ten times per second), or the source
/// fails. Without --seconds it gives up after ten seconds without a first frame.
[[nodiscard]] Reception receive(const Target& target, const Options& options,
                                const std::atomic<bool>& interrupted, const Tell& tell);

}  // namespace monitor
