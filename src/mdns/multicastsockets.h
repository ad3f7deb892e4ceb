#pragma once
// The sockets of multicast DNS: one per interface and IP version, on the shared port 5353.

#include <array>
#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "mdns/dns.h"
#include "mdns/netinterfaces.h"
#include "support/loglimit.h"

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
    /// Returns the links that are open. A link that fails to open, to send to its group or to
    /// receive is logged once, and once more when it has worked for a minute.
    std::vector<Link> setInterfaces(const std::vector<NetInterface>& interfaces);

    /// Sends to the multicast group of the link. False when that failed.
    bool sendToGroup(const Link& link, const dns::Bytes& bytes);

    /// Sends to one host. A failure says nothing about the link, and is logged at a limited rate.
    bool sendTo(const Link& link, const asio::ip::udp::endpoint& to, const dns::Bytes& bytes);

    /// The last error of opening or sending; "" when there was none.
    [[nodiscard]] const std::string& lastError() const { return m_lastError; }

private:
    struct Socket;

    void receiveOn(const std::shared_ptr<Socket>& socket);
    [[nodiscard]] asio::error_code send(const Link& link, const asio::ip::udp::endpoint& to,
                                        const dns::Bytes& bytes);
    void receiveFailed(const std::shared_ptr<Socket>& socket, const asio::error_code& error);
    void fail(const Link& link, const std::string& on, const std::string& what);
    void logRecovered(const std::vector<NetInterface>& interfaces);

    asio::io_context& m_context;
    Handler m_handler;
    std::map<Link, std::shared_ptr<Socket>> m_sockets;
    std::map<Link, std::chrono::steady_clock::time_point> m_failing;  ///< Logged; last failure.
    support::LogLimit m_unicastLog;
    std::string m_lastError;
};

}  // namespace mdns
