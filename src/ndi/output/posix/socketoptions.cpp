#include "ndi/output/socketoptions.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <algorithm>

namespace ndi {
namespace {

void setOption(asio::ip::tcp::socket& socket, int level, int name, int value) {
    (void)::setsockopt(socket.native_handle(), level, name, &value, sizeof(value));
}

constexpr int kProbes = 3;

/// DSCP AF41 in the upper six bits of the traffic class.
constexpr int kTrafficClass = 34 << 2;

}  // namespace

void setListenerOptions(asio::ip::tcp::acceptor& acceptor) {
    asio::error_code ignored;
    acceptor.set_option(asio::socket_base::reuse_address(true), ignored);
}

void setReceiverOptions(asio::ip::tcp::socket& socket, int unsent, std::chrono::seconds deadPeer) {
    const int seconds = static_cast<int>(deadPeer.count());
    const int interval = std::max(1, seconds / (kProbes + 1));
    setOption(socket, IPPROTO_TCP, TCP_NODELAY, 1);
    setOption(socket, IPPROTO_TCP, TCP_NOTSENT_LOWAT, unsent);
    // Each is refused by a socket of the other IP version.
    setOption(socket, IPPROTO_IP, IP_TOS, kTrafficClass);
    setOption(socket, IPPROTO_IPV6, IPV6_TCLASS, kTrafficClass);
    setOption(socket, SOL_SOCKET, SO_KEEPALIVE, 1);
    setOption(socket, IPPROTO_TCP, TCP_KEEPIDLE, interval);
    setOption(socket, IPPROTO_TCP, TCP_KEEPINTVL, interval);
    setOption(socket, IPPROTO_TCP, TCP_KEEPCNT, kProbes);
    // Keep-alive probes are not sent while data is unacknowledged.
    setOption(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, seconds * 1000);
}

}  // namespace ndi
