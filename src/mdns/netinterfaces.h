#pragma once
// The network interfaces that multicast DNS can use. Implemented once per platform, but for what
// both have in common.

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

/// The interfaces that are up, running, able to multicast and have an address. Empty when there is
/// none or the system can't be asked, which is logged. One system call or two: well below a
/// millisecond. Any thread.
[[nodiscard]] std::vector<NetInterface> multicastInterfaces();

/// The address in what the system calls a socket address; it must be one of IPv4 or IPv6, in full
/// length. For the platforms' parts.
[[nodiscard]] asio::ip::address toAddress(const asio::ip::udp::endpoint::data_type& address);

/// Platform options of a socket about to be bound to the mDNS port: share the port with other
/// programs, and receive only from the groups that this very socket joined.
void shareMulticastPort(asio::ip::udp::socket::native_handle_type socket, bool v6);

}  // namespace mdns
