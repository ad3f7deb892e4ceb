#include "mdns/netinterfaces.h"

#include <algorithm>
#include <cstring>

namespace mdns {

asio::ip::address toAddress(const asio::ip::udp::endpoint::data_type& address) {
    const bool v4 = address.sa_family == asio::ip::udp::v4().family();
    asio::ip::udp::endpoint endpoint(v4 ? asio::ip::udp::v4() : asio::ip::udp::v6(), 0);
    std::memcpy(endpoint.data(), &address, endpoint.size());
    return endpoint.address();
}

namespace {

/// Whether `text` is the address, with or without the scope of a link-local one.
bool isAddress(const asio::ip::address& address, const std::string& text) {
    const std::string full = address.to_string();
    return full == text || full.substr(0, full.find('%')) == text;
}

}  // namespace

std::vector<NetInterface> selectInterfaces(std::vector<NetInterface> interfaces,
                                           const std::vector<std::string>& wanted) {
    const auto isWanted = [](const NetInterface& each, const std::string& text) {
        return each.name == text ||
               std::any_of(each.addresses.begin(), each.addresses.end(),
                           [&](const auto& one) { return isAddress(one.address, text); });
    };
    const auto isUnwanted = [&](const NetInterface& each) {
        return std::none_of(wanted.begin(), wanted.end(),
                            [&](const std::string& text) { return isWanted(each, text); });
    };
    if (!wanted.empty()) {
        interfaces.erase(std::remove_if(interfaces.begin(), interfaces.end(), isUnwanted),
                         interfaces.end());
    }
    return interfaces;
}

}  // namespace mdns
