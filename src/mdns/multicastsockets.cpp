#include "mdns/multicastsockets.h"

#include <algorithm>
#include <asio/buffer.hpp>
#include <asio/ip/multicast.hpp>
#include <asio/ip/unicast.hpp>
#include <asio/ip/v6_only.hpp>
#include <optional>
#include <utility>

#include "support/log.h"

namespace mdns {
namespace {

using asio::ip::udp;
using Clock = std::chrono::steady_clock;

constexpr int kHops = 255;  // RFC 6762, 11.

udp::endpoint groupOf(const Link& link) {
    if (!link.v6) {
        return {asio::ip::address_v4({224, 0, 0, 251}), kPort};
    }
    asio::ip::address_v6::bytes_type group{};
    group[0] = 0xFF;
    group[1] = 0x02;
    group[15] = 0xFB;
    return {asio::ip::address_v6(group, link.interfaceIndex), kPort};
}

asio::ip::address_v4 firstV4(const NetInterface& from) {
    for (const auto& entry : from.addresses) {
        if (entry.address.is_v4()) {
            return entry.address.to_v4();
        }
    }
    return {};
}

/// Throws asio::system_error.
void openSocket(udp::socket& socket, const Link& link, const NetInterface& on) {
    namespace multicast = asio::ip::multicast;
    socket.open(link.v6 ? udp::v6() : udp::v4());
    socket.set_option(udp::socket::reuse_address(true));
    shareMulticastPort(socket.native_handle(), link.v6);
    if (link.v6) {
        socket.set_option(asio::ip::v6_only(true));
    }
    socket.bind({link.v6 ? udp::v6() : udp::v4(), kPort});
    if (link.v6) {
        socket.set_option(multicast::outbound_interface(link.interfaceIndex));
        socket.set_option(multicast::join_group(groupOf(link).address().to_v6(), on.index));
    } else {
        socket.set_option(multicast::outbound_interface(firstV4(on)));
        socket.set_option(multicast::join_group(groupOf(link).address().to_v4(), firstV4(on)));
    }
    socket.set_option(multicast::enable_loopback(true));
    socket.set_option(multicast::hops(kHops));
    socket.set_option(asio::ip::unicast::hops(kHops));
    socket.non_blocking(true);
}

}  // namespace

struct MulticastSockets::Socket {
    Socket(asio::io_context& context, const Link& itsLink, NetInterface itsInterface)
        : socket(context), link(itsLink), on(std::move(itsInterface)) {}

    udp::socket socket;
    const Link link;
    const NetInterface on;
    udp::endpoint from;
    unsigned errors = 0;                      ///< Of receiving, in a row.
    std::array<std::uint8_t, 9000> buffer{};  ///< RFC 6762, 17: the longest message.
};

std::vector<Link> linksOf(const std::vector<NetInterface>& interfaces) {
    std::vector<Link> links;
    for (const auto& each : interfaces) {
        for (const bool v6 : {false, true}) {
            if (std::any_of(each.addresses.begin(), each.addresses.end(),
                            [&](const auto& entry) { return entry.address.is_v6() == v6; })) {
                links.push_back({each.index, v6});
            }
        }
    }
    return links;
}

MulticastSockets::MulticastSockets(asio::io_context& context, Handler handler)
    : m_context(context), m_handler(std::move(handler)) {}

MulticastSockets::~MulticastSockets() {
    for (auto& [link, socket] : m_sockets) {
        asio::error_code ignored;
        socket->socket.close(ignored);
    }
}

std::vector<Link> MulticastSockets::setInterfaces(const std::vector<NetInterface>& interfaces) {
    std::map<Link, std::shared_ptr<Socket>> open;
    for (const auto& link : linksOf(interfaces)) {
        const auto& on = *std::find_if(interfaces.begin(), interfaces.end(), [&](const auto& each) {
            return each.index == link.interfaceIndex;
        });
        const auto known = m_sockets.find(link);
        if (known != m_sockets.end() && known->second->on == on) {
            open.insert(m_sockets.extract(known));
            continue;
        }
        auto socket = std::make_shared<Socket>(m_context, link, on);
        try {
            openSocket(socket->socket, link, on);
        } catch (const asio::system_error& error) {
            fail(link, on.name, fmt::format("joining the group failed: {}", error.what()));
            continue;
        }
        receiveOn(socket);
        open.emplace(link, std::move(socket));
    }
    m_sockets.swap(open);
    for (auto& [link, socket] : open) {
        asio::error_code ignored;
        socket->socket.close(ignored);
    }
    logRecovered(interfaces);
    std::vector<Link> links;
    for (const auto& [link, socket] : m_sockets) {
        links.push_back(link);
    }
    return links;
}

bool MulticastSockets::sendToGroup(const Link& link, const dns::Bytes& bytes) {
    const auto to = groupOf(link);
    const auto error = send(link, to, bytes);
    if (error) {
        const auto found = m_sockets.find(link);
        fail(link, found != m_sockets.end() ? found->second->on.name : "a closed socket",
             fmt::format("sending to {} failed: {}", to.address().to_string(), error.message()));
    }
    return !error;
}

bool MulticastSockets::sendTo(const Link& link, const udp::endpoint& to, const dns::Bytes& bytes) {
    const auto error = send(link, to, bytes);
    if (const auto more = error ? m_unicastLog.allows() : std::nullopt) {
        HV_WARN("an mDNS answer to {} was not sent: {}{}", to.address().to_string(),
                error.message(), *more);
    }
    return !error;
}

asio::error_code MulticastSockets::send(const Link& link, const udp::endpoint& to,
                                        const dns::Bytes& bytes) {
    asio::error_code error = asio::error::not_connected;
    if (const auto found = m_sockets.find(link); found != m_sockets.end()) {
        found->second->socket.send_to(asio::buffer(bytes), to, 0, error);
    }
    return error;
}

void MulticastSockets::receiveOn(const std::shared_ptr<Socket>& socket) {
    socket->socket.async_receive_from(
        asio::buffer(socket->buffer), socket->from,
        // The socket's buffer must outlive the operation, hence the shared ownership.
        [this, self = socket](asio::error_code error, std::size_t size) {
            // Closed by setInterfaces() or the destructor: `this` may be gone.
            if (error == asio::error::operation_aborted || !self->socket.is_open()) {
                return;
            }
            if (error) {
                receiveFailed(self, error);
                return;
            }
            self->errors = 0;
            m_handler(self->link, self->from, self->buffer.data(), size);
            receiveOn(self);
        });
}

/// A single error may belong to a datagram sent before, and receiving goes on. After several in a
/// row the socket is closed; the next setInterfaces() opens another one.
void MulticastSockets::receiveFailed(const std::shared_ptr<Socket>& socket,
                                     const asio::error_code& error) {
    constexpr unsigned kMaxErrors = 10;
    if (++socket->errors < kMaxErrors) {
        receiveOn(socket);
        return;
    }
    fail(socket->link, socket->on.name, fmt::format("receiving failed: {}", error.message()));
    asio::error_code ignored;
    socket->socket.close(ignored);
    m_sockets.erase(socket->link);
}

void MulticastSockets::fail(const Link& link, const std::string& on, const std::string& what) {
    m_lastError = fmt::format("multicast DNS on {} ({}): {}", on, link.v6 ? "IPv6" : "IPv4", what);
    if (m_failing.insert_or_assign(link, Clock::now()).second) {
        HV_WARN("{}; left out and tried again", m_lastError);
    }
}

void MulticastSockets::logRecovered(const std::vector<NetInterface>& interfaces) {
    constexpr std::chrono::minutes kRecovered{1};
    const auto links = linksOf(interfaces);
    for (auto each = m_failing.begin(); each != m_failing.end();) {
        const auto& link = each->first;
        const auto open = m_sockets.find(link);
        const bool gone = std::find(links.begin(), links.end(), link) == links.end();
        const bool works = open != m_sockets.end() && Clock::now() - each->second > kRecovered;
        if (works) {
            HV_INFO("multicast DNS on {} ({}) works again", open->second->on.name,
                    link.v6 ? "IPv6" : "IPv4");
        }
        each = gone || works ? m_failing.erase(each) : std::next(each);
    }
}

}  // namespace mdns
