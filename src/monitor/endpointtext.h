#pragma once

#include <fmt/format.h>

#include <asio/ip/tcp.hpp>
#include <string>

namespace monitor {

/// "10.0.0.5:5961" or "[fe80::1%2]:5961".
[[nodiscard]] inline std::string endpointText(const asio::ip::tcp::endpoint& endpoint) {
    const std::string address = endpoint.address().to_string();
    return fmt::format(endpoint.address().is_v6() ? "[{}]:{}" : "{}:{}", address, endpoint.port());
}

}  // namespace monitor
