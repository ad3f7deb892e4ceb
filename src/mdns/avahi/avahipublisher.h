#pragma once
// Publishes a service through the Avahi daemon.

#include <avahi-client/client.h>
#include <avahi-client/publish.h>
#include <avahi-common/simple-watch.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "mdns/announcement.h"
#include "mdns/names.h"

namespace mdns {

/// One thread, except for wakeUp(). Calls to the daemon block until it replies. When it hangs,
/// D-Bus ends the call with an error after 25 seconds.
class AvahiPublisher {
public:
    /// `names` must outlive this object. `interfaces` as in AnnounceOptions.
    AvahiPublisher(InstanceNames& names, std::string type, std::uint16_t port,
                   std::vector<std::string> interfaces);

    /// Withdraws the service.
    ~AvahiPublisher() = default;
    AvahiPublisher(const AvahiPublisher&) = delete;
    AvahiPublisher& operator=(const AvahiPublisher&) = delete;

    /// Handles the daemon's messages for at most `limit` or until wakeUp(). Connects first when
    /// there is no connection; without a bus that is retried every five seconds, at the cost of one
    /// attempt to connect to a local socket.
    void run(std::chrono::milliseconds limit);

    /// Waits for `limit`, or until wakeUp(), and handles the daemon's messages meanwhile.
    void wait(std::chrono::milliseconds limit);

    /// Withdraws the service; run() connects again.
    void disconnect();

    /// Ends run() and wait() early. Any thread.
    void wakeUp();

    /// A daemon runs; it may still be probing for its host name.
    [[nodiscard]] bool daemonPresent() const;

    /// Registers the service if that has not been done yet and the daemon is ready. Returns the
    /// state. A taken name is replaced by the next one if there is one, and otherwise retried every
    /// ten seconds.
    [[nodiscard]] AnnouncementStatus publish();

private:
    static void clientChanged(AvahiClient* client, AvahiClientState state, void* self);
    static void groupChanged(AvahiEntryGroup* group, AvahiEntryGroupState state, void* self);
    void connect();
    void registerService();
    [[nodiscard]] int addService();
    void forgetService();
    void fail(const std::string& what, int avahiError);
    void report(AnnounceState state, const std::string& reason);

    template <auto freeFunction>
    struct Free {
        template <typename Handle>
        void operator()(Handle* handle) const {
            freeFunction(handle);
        }
    };

    InstanceNames& m_names;
    const std::string m_type;
    const std::uint16_t m_port;
    const std::vector<std::string> m_interfaces;
    std::unique_ptr<AvahiSimplePoll, Free<avahi_simple_poll_free>> m_poll;
    std::unique_ptr<AvahiClient, Free<avahi_client_free>> m_client;
    std::unique_ptr<AvahiEntryGroup, Free<avahi_entry_group_free>> m_group;
    bool m_registered = false;  ///< The daemon has the service and reported no failure.
    AvahiClientState m_clientState = AVAHI_CLIENT_FAILURE;
    AnnouncementStatus m_status;
    std::chrono::steady_clock::time_point m_nextConnect;
    std::chrono::steady_clock::time_point m_nextAttempt;  ///< After a name was taken or refused.
};

}  // namespace mdns
