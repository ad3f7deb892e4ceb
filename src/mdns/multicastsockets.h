#pragma once
// The sockets of multicast DNS: one per interface and IP version, on the shared port 5353.

#include <array>
#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "mdns/dns.h"
#include "mdns/netinterfaces.h"

namespace mdns {

inline constexpr std::uint16_t kPort = 5353;

/// An interface and an IP version.
struct Link {
    unsigned interfaceIndex = 0;
    bool v6 = false;

    bool operator<(const Link& other) const {
        return interfaceIndex != other.interfaceIndex ? interfaceIndex < other.interfaceIndex
                                                      : v6 < other.v6;
    }
    bool operator==(const Link& other) const {
        return interfaceIndex == other.interfaceIndex && v6 == other.v6;
    }
};

/// The links of the interfaces: one for each IP version that they have an address of.
[[nodiscard]] std::vector<Link> linksOf(const std::vector<NetInterface>& interfaces);

/// One thread at a time, the one that runs the io_context. The handler is not called after
/// destruction.
class MulticastSockets {
public:
    /// Called for every datagram that arrives; the bytes are valid during the call.
    using Handler = std::function<void(const Link& link, const asio::ip::udp::endpoint& from,
                                       const std::uint8_t* bytes, std::size_t size)>;

    MulticastSockets(asio::io_context& context, Handler handler);
    ~MulticastSockets();
    MulticastSockets(const MulticastSockets&) = delete;
    MulticastSockets& operator=(const MulticastSockets&) = delete;

    /// Opens sockets on new links, closes those of links that are gone, retries what failed before.
    /// A failure is logged once. Returns the links that are open.
    std::vector<Link> setInterfaces(const std::vector<NetInterface>& interfaces);

    /// Sends to the multicast group of the link. False when that failed, which is logged once per
    /// link.
    bool sendToGroup(const Link& link, const dns::Bytes& bytes);

    bool sendTo(const Link& link, const asio::ip::udp::endpoint& to, const dns::Bytes& bytes);

    /// The last error of opening or sending; "" when there was none.
    [[nodiscard]] const std::string& lastError() const { return m_lastError; }

private:
    struct Socket;

    void receiveOn(const std::shared_ptr<Socket>& socket);
    void fail(const Link& link, const std::string& what);

    asio::io_context& m_context;
    Handler m_handler;
    std::map<Link, std::shared_ptr<Socket>> m_sockets;
    std::map<Link, std::string> m_failures;  ///< The last one logged for each link.
    std::string m_lastError;
};

}  // namespace mdns
