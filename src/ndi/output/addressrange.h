#pragma once
// Ranges of IP addresses.

#include <asio/ip/address.hpp>
#include <optional>
#include <string>

namespace ndi {

/// An address, or a network in CIDR form. The scope of a link-local address is ignored.
class AddressRange {
public:
    /// Empty when `text` is neither "10.0.0.7" nor "10.1.0.0/16", nor the like of IPv6.
    [[nodiscard]] static std::optional<AddressRange> parse(const std::string& text);

    [[nodiscard]] bool contains(const asio::ip::address& address) const;

private:
    AddressRange(asio::ip::address network, unsigned short prefix)
        : m_network(std::move(network)), m_prefix(prefix) {}

    asio::ip::address m_network;  ///< Without host bits.
    unsigned short m_prefix;      ///< Bits.
};

}  // namespace ndi
