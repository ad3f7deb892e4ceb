#pragma once
// Socket options that differ between platforms. A failure to set one is not an error: the
// connection works without it.

#include <asio/ip/tcp.hpp>
#include <chrono>

namespace ndi {

/// Call before bind. Allows a port on which another program's connections linger in TIME_WAIT, but
/// not one on which another program listens.
void setListenerOptions(asio::ip::tcp::acceptor& acceptor);

/// For a receiver's connection. Small messages are sent at once. The kernel queues about `unsent`
/// bytes that are not on the wire yet: what waits beyond that stays in this program, where a newer
/// frame can replace it. A peer that has vanished is detected after about `deadPeer`. Packets carry
/// DSCP AF41, multimedia conferencing (RFC 4594), where the system lets a program choose.
void setReceiverOptions(asio::ip::tcp::socket& socket, int unsent, std::chrono::seconds deadPeer);

}  // namespace ndi
