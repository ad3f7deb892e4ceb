// clang-format off
#include <winsock2.h>
#include <mstcpip.h>
// clang-format on

#include <algorithm>

#include "ndi/output/socketoptions.h"

namespace ndi {

void setListenerOptions(asio::ip::tcp::acceptor& acceptor) {
    // Here SO_REUSEADDR would share the port with a program that listens on it.
    const BOOL on = TRUE;
    (void)::setsockopt(acceptor.native_handle(), SOL_SOCKET, SO_EXCLUSIVEADDRUSE,
                       reinterpret_cast<const char*>(&on), sizeof(on));
}

void setReceiverOptions(asio::ip::tcp::socket& socket, int unsent, std::chrono::seconds deadPeer) {
    asio::error_code ignored;
    socket.set_option(asio::ip::tcp::no_delay(true), ignored);
    // Windows has no limit for unsent bytes alone; this one includes the bytes on the wire.
    socket.set_option(asio::socket_base::send_buffer_size(std::max(unsent, 1 << 20)), ignored);

    // There is no DSCP here: Windows leaves it to the administrator's QoS policies.

    // Windows sends ten probes; the number is fixed.
    tcp_keepalive probing{};
    probing.onoff = 1;
    probing.keepalivetime = static_cast<ULONG>(deadPeer.count()) * 1000 / 2;
    probing.keepaliveinterval = probing.keepalivetime / 10;
    DWORD returned = 0;
    (void)::WSAIoctl(socket.native_handle(), SIO_KEEPALIVE_VALS, &probing, sizeof(probing), nullptr,
                     0, &returned, nullptr, nullptr);
}

}  // namespace ndi
