#pragma once
// Publishes a service by the embedded responder: on which links, under which name, in which state.
// Without sockets, threads and clocks of its own: EmbeddedPublisher adds those.

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "mdns/announcement.h"
#include "mdns/clockwatch.h"
#include "mdns/names.h"
#include "mdns/responder.h"

namespace mdns {

/// The network as EmbeddedService uses it.
class Network {
public:
    virtual ~Network() = default;

    /// As multicastInterfaces().
    [[nodiscard]] virtual std::vector<NetInterface> interfaces() = 0;

    /// Opens the links of the interfaces and closes all others. Returns those that are open.
    virtual std::vector<Link> open(const std::vector<NetInterface>& interfaces) = 0;

    /// False when the datagram was not sent.
    virtual bool send(const Responder::Outgoing& datagram) = 0;

    /// The last error of open() or send(); "" when there was none.
    [[nodiscard]] virtual std::string lastError() const = 0;
};

/// One thread at a time.
class EmbeddedService {
public:
    using OnStatus = std::function<void(const AnnouncementStatus& status)>;

    /// How often updateInterfaces() must be called.
    static constexpr std::chrono::seconds kInterfaceInterval{2};

    /// `names` and `network` must outlive this object; `service` without its instance.
    EmbeddedService(ServiceInfo service, InstanceNames& names, Network& network, OnStatus onStatus,
                    std::uint32_t randomSeed);

    /// Announces on new and changed interfaces, retries links where sending failed, starts over
    /// after a jump of the clocks.
    void updateInterfaces(Time now, std::chrono::system_clock::time_point wallClock);

    /// A datagram that arrived, with any content.
    void receive(const Link& link, const asio::ip::udp::endpoint& from, const std::uint8_t* bytes,
                 std::size_t size, Time now);

    /// Does what is due, sends it, and reports a change of the status.
    void advance(Time now);

    /// When advance() is due next; Time::max() when nothing is.
    [[nodiscard]] Time nextDue() const { return m_responder.nextDue(); }

    void sayGoodbye();

private:
    /// A link where sending failed: retried after two, four, and then every six seconds.
    struct Failure {
        std::chrono::seconds delay{0};
        Time retry;
        bool working = false;  ///< A retry succeeded.
    };

    void sendOutgoing(Time now);
    void sendingFailed(const Link& link, Time now);
    void sendingSucceeded(const Link& link, Time now);
    void renameIfLost(Time now);
    void reportStatus();
    [[nodiscard]] AnnouncementStatus status() const;
    [[nodiscard]] bool failing(const Link& link) const;
    void logLinks();

    InstanceNames& m_names;
    Network& m_network;
    const OnStatus m_onStatus;
    Responder m_responder;
    ClockWatch m_clockWatch;
    std::vector<NetInterface> m_interfaces;
    std::vector<Link> m_open;
    std::vector<Link> m_used;  ///< Open, and not waiting for a retry.
    std::map<Link, Failure> m_failures;
    std::string m_loggedLinks;
    std::optional<AnnouncementStatus> m_reported;
    std::string m_loggedAs;  ///< Instance and host of the last line about the announcement.
    support::LogLimit m_statusLog{5};
};

}  // namespace mdns
