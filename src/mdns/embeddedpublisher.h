#pragma once
// Publishes a service without a daemon: an EmbeddedService with sockets, timers and a thread.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "mdns/embeddedservice.h"

namespace asio {
class io_context;
}

namespace mdns {

/// Lists the network interfaces every two seconds (well below a millisecond of work each time) and
/// announces the service on new and changed ones. After an exception everything but the name starts
/// anew.
class EmbeddedPublisher {
public:
    /// `names` must outlive this object, which alone uses it meanwhile. `interfaces` as in
    /// AnnounceOptions. `onStatus` is called on the publisher's own thread at every change.
    EmbeddedPublisher(InstanceNames& names, const std::string& type, std::uint16_t port,
                      std::vector<std::string> interfaces, EmbeddedService::OnStatus onStatus);

    /// Says goodbye, unless leaveQuietly() was called before.
    ~EmbeddedPublisher();
    EmbeddedPublisher(const EmbeddedPublisher&) = delete;
    EmbeddedPublisher& operator=(const EmbeddedPublisher&) = delete;

    /// Another publisher takes the service over: the destructor says no goodbye. Any thread.
    void leaveQuietly() { m_goodbye = false; }

private:
    void run(const std::string& type, std::uint16_t port);
    [[nodiscard]] std::shared_ptr<asio::io_context> makeContext();
    void waitAfter(const std::exception& error);

    InstanceNames& m_names;
    const std::vector<std::string> m_interfaces;
    const EmbeddedService::OnStatus m_onStatus;
    std::atomic<bool> m_goodbye{true};
    support::LogLimit m_errorLog;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_stop = false;
    std::shared_ptr<asio::io_context> m_context;  ///< The one of the running thread.
    std::thread m_thread;
};

}  // namespace mdns
