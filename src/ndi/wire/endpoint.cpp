#include "ndi/wire/endpoint.h"

#include <fmt/format.h>

namespace ndi::wire {

std::string endpointText(const asio::ip::tcp::endpoint& endpoint) {
    const auto address = endpoint.address();
    return fmt::format(address.is_v6() ? "[{}]:{}" : "{}:{}", address.to_string(), endpoint.port());
}

}  // namespace ndi::wire
