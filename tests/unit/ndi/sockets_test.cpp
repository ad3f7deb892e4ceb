// What the kernel is told about a receiver's connection.

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <asio/connect.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <utility>

#include "ndi/output/socketoptions.h"

namespace ndi {
namespace {

using asio::ip::tcp;

TEST(Sockets, PacketsOfReceiversAreMarkedAF41) {
    asio::io_context io;
    for (const auto& [address, level, option] :
         {std::tuple("127.0.0.1", IPPROTO_IP, IP_TOS), {"::1", IPPROTO_IPV6, IPV6_TCLASS}}) {
        tcp::acceptor acceptor(io, {asio::ip::make_address(address), 0});
        tcp::socket receiver(io);
        receiver.connect(acceptor.local_endpoint());
        tcp::socket socket = acceptor.accept();
        setReceiverOptions(socket, 1 << 17, std::chrono::seconds(60));
        int value = 0;
        socklen_t size = sizeof(value);
        ASSERT_EQ(::getsockopt(socket.native_handle(), level, option, &value, &size), 0);
        EXPECT_EQ(value, 0x88) << address;
    }
}

}  // namespace
}  // namespace ndi
