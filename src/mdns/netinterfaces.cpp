#include "mdns/netinterfaces.h"

#include <cstring>

namespace mdns {

asio::ip::address toAddress(const asio::ip::udp::endpoint::data_type& address) {
    const bool v4 = address.sa_family == asio::ip::udp::v4().family();
    asio::ip::udp::endpoint endpoint(v4 ? asio::ip::udp::v4() : asio::ip::udp::v6(), 0);
    std::memcpy(endpoint.data(), &address, endpoint.size());
    return endpoint.address();
}

}  // namespace mdns
