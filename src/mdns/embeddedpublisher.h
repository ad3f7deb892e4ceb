#pragma once
// Publishes a service without a daemon: the Responder, its sockets and a thread.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "mdns/announcement.h"

namespace asio {
class io_context;
}

namespace mdns {

/// Lists the network interfaces every two seconds (well below a millisecond of work each time) and
/// announces the service on new and changed ones.
class EmbeddedPublisher {
public:
    /// Called on the publisher's own thread at every change.
    using OnStatus = std::function<void(const AnnouncementStatus& status)>;

    EmbeddedPublisher(const std::string& instance, const std::string& type, std::uint16_t port,
                      OnStatus onStatus);

    /// Says goodbye, unless leaveQuietly() was called before.
    ~EmbeddedPublisher();
    EmbeddedPublisher(const EmbeddedPublisher&) = delete;
    EmbeddedPublisher& operator=(const EmbeddedPublisher&) = delete;

    /// Another publisher takes the service over: the destructor says no goodbye. Any thread.
    void leaveQuietly() { m_goodbye = false; }

private:
    void run(const std::string& instance, const std::string& type, std::uint16_t port);

    OnStatus m_onStatus;
    std::atomic<bool> m_goodbye{true};
    std::unique_ptr<asio::io_context> m_context;
    std::thread m_thread;
};

}  // namespace mdns
