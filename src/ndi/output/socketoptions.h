#pragma once
// Socket options that each platform spells in its own way. A failure to set one is not an error:
// the connection works without, only worse.

#include <asio/ip/tcp.hpp>
#include <chrono>

namespace ndi {

/// Before bind: a port of which another program's connections linger may be bound, one that another
/// program listens on may not.
void setListenerOptions(asio::ip::tcp::acceptor& acceptor);

/// For a receiver's connection: small messages leave at once; the kernel takes about `unsent` bytes
/// that are not on the wire yet, so that what waits is ours to replace by something newer, while
/// what is on the wire is left to the kernel's own control; a peer that is gone without a word is
/// noticed after about `deadPeer`.
void setReceiverOptions(asio::ip::tcp::socket& socket, int unsent, std::chrono::seconds deadPeer);

}  // namespace ndi
