#pragma once
// Network endpoints as text.

#include <asio/ip/tcp.hpp>
#include <string>

namespace ndi::wire {

/// "10.0.0.1:5961" or "[fe80::1%eth0]:5961".
[[nodiscard]] std::string endpointText(const asio::ip::tcp::endpoint& endpoint);

}  // namespace ndi::wire
