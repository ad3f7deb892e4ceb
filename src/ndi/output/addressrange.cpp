#include "ndi/output/addressrange.h"

#include <algorithm>
#include <asio/ip/network_v4.hpp>
#include <asio/ip/network_v6.hpp>
#include <charconv>

namespace ndi {
namespace {

/// The network of that many bits that `address` is in.
asio::ip::address networkOf(const asio::ip::address& address, unsigned short prefix) {
    if (address.is_v4()) {
        return asio::ip::network_v4(address.to_v4(), prefix).network();
    }
    return asio::ip::network_v6(asio::ip::address_v6(address.to_v6().to_bytes()), prefix).network();
}

}  // namespace

std::optional<AddressRange> AddressRange::parse(const std::string& text) {
    const std::size_t slash = text.find('/');
    asio::error_code error;
    const auto address = asio::ip::make_address(text.substr(0, slash), error);
    // Windows takes "10.1", too: for 10.0.0.1, which is hardly what its writer means.
    if (error || (address.is_v4() && std::count(text.begin(), text.end(), '.') != 3)) {
        return std::nullopt;
    }
    const unsigned short most = address.is_v4() ? 32 : 128;
    unsigned short prefix = most;
    if (slash != std::string::npos) {
        const char* const end = text.data() + text.size();
        const auto result = std::from_chars(text.data() + slash + 1, end, prefix);
        if (result.ec != std::errc() || result.ptr != end || prefix > most) {
            return std::nullopt;
        }
    }
    return AddressRange(networkOf(address, prefix), prefix);
}

bool AddressRange::contains(const asio::ip::address& address) const {
    return address.is_v4() == m_network.is_v4() && networkOf(address, m_prefix) == m_network;
}

}  // namespace ndi
