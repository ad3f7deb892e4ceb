#pragma once
// The network interfaces that multicast DNS can use. Each platform has its own implementation.

#include <asio/ip/address.hpp>
#include <asio/ip/udp.hpp>
#include <string>
#include <vector>

namespace mdns {

struct InterfaceAddress {
    asio::ip::address address;  ///< An IPv6 link-local address carries its scope.
    unsigned prefixLength = 0;  ///< Bits.

    bool operator==(const InterfaceAddress& other) const {
        return address == other.address && prefixLength == other.prefixLength;
    }
};

struct NetInterface {
    unsigned index = 0;
    std::string name;
    std::vector<InterfaceAddress> addresses;  ///< In the system's order, at least one.

    bool operator==(const NetInterface& other) const {
        return index == other.index && name == other.name && addresses == other.addresses;
    }
};

/// The interfaces that are up, running, support multicast and have an address. Empty when there is
/// none, and when listing them failed, which is logged. Well below a millisecond. Any thread.
[[nodiscard]] std::vector<NetInterface> multicastInterfaces();

/// Those of `interfaces` that `wanted` names, or of which it holds an address ("eth0", "10.0.0.5",
/// "fe80::1"); all of them when it is empty.
[[nodiscard]] std::vector<NetInterface> selectInterfaces(std::vector<NetInterface> interfaces,
                                                         const std::vector<std::string>& wanted);

/// The address in a sockaddr of IPv4 or IPv6, which must have its full length. For the
/// implementations of multicastInterfaces().
[[nodiscard]] asio::ip::address toAddress(const asio::ip::udp::endpoint::data_type& address);

/// Platform options of a socket about to be bound to the mDNS port: share the port with other
/// programs, and receive only from the groups that this socket joined itself.
void shareMulticastPort(asio::ip::udp::socket::native_handle_type socket, bool v6);

}  // namespace mdns
