#pragma once
// A stand-in for systemd's side of the notify protocol, sd_notify(3).

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "support/eventually.h"

namespace tests {

/// A datagram socket at `path`; programs started while this object exists find it in their
/// environment, with the watchdog interval.
class NotifySocket {
public:
    NotifySocket(const std::string& path, std::chrono::microseconds watchdog)
        : m_socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
        EXPECT_EQ(::bind(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
        ::setenv("NOTIFY_SOCKET", path.c_str(), 1);
        ::setenv("WATCHDOG_USEC", std::to_string(watchdog.count()).c_str(), 1);
    }
    ~NotifySocket() {
        ::close(m_socket);
        ::unsetenv("NOTIFY_SOCKET");
        ::unsetenv("WATCHDOG_USEC");
    }
    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;

    /// Waits for a message with the line `state`. False: none within `limit`.
    [[nodiscard]] bool hears(const std::string& state,
                             std::chrono::milliseconds limit = kPatience) const {
        const auto end = std::chrono::steady_clock::now() + limit;
        for (;;) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                end - std::chrono::steady_clock::now());
            pollfd arrival = {m_socket, POLLIN, 0};
            if (left.count() <= 0 || ::poll(&arrival, 1, static_cast<int>(left.count())) <= 0) {
                return false;
            }
            char bytes[4096];
            const ssize_t size = ::recv(m_socket, bytes, sizeof(bytes), 0);
            const std::string message =
                "\n" + std::string(bytes, bytes + std::max<ssize_t>(size, 0));
            if ((message + "\n").find("\n" + state + "\n") != std::string::npos) {
                return true;
            }
        }
    }

private:
    const int m_socket;
};

}  // namespace tests
