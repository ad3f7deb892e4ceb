#pragma once
// A multicast DNS responder for one service, without sockets and without a clock: a subset of
// RFC 6762 and RFC 6763. Time and datagrams are passed in; datagrams to send are fetched.
//
// It probes for the service's name on every link, announces it, answers queries (by multicast, by
// unicast where the query asks for it, and to plain DNS clients), suppresses known answers, detects
// conflicts, and says goodbye. The host name is not defended in the same way, because the system's
// own responder usually publishes it with the same addresses: it is queried together with the
// service, never claimed. When another machine turns out to have it, "-2" and so on is appended.

#include <asio/ip/udp.hpp>
#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "mdns/answering.h"
#include "mdns/dns.h"
#include "mdns/multicastsockets.h"
#include "mdns/probing.h"
#include "mdns/records.h"
#include "support/loglimit.h"

namespace mdns {

/// One thread at a time.
class Responder {
public:
    using Time = mdns::Time;

    enum class State {
        NoLink,       ///< There is no link to send on.
        Probing,      ///< Probing for the name: on some link at the start, later on every link.
        Established,  ///< The name is ours: on every link at the start, later on some link.
        NameTaken,    ///< Another responder has the name on at least one link, where it is probed
                      ///< for again after ten seconds. It stays announced on the other links.
    };

    struct Outgoing {
        Link link;
        std::optional<asio::ip::udp::endpoint> to;  ///< Unset: the link's multicast group.
        dns::Bytes bytes;
    };

    Responder(ServiceInfo service, std::uint32_t randomSeed);

    /// The interfaces of the machine and the links that can be used. A new link is probed and
    /// announced on, a link whose addresses changed is announced on again.
    void setLinks(const std::vector<NetInterface>& interfaces, const std::vector<Link>& links,
                  Time now);

    /// A datagram that arrived, with any content.
    void receive(const Link& link, const asio::ip::udp::endpoint& from, const std::uint8_t* bytes,
                 std::size_t size, Time now);

    /// Does what is due at `now`.
    void advance(Time now);

    /// When advance() is due next; Time::max() when nothing is.
    [[nodiscard]] Time nextDue() const;

    /// The datagrams to send now, in order. They are handed over once.
    [[nodiscard]] std::vector<Outgoing> takeOutgoing();

    /// Withdraws the service on every link where it was announced, and uses no link any more.
    void sayGoodbye();

    /// Says goodbye and probes for the new name on every link.
    void rename(const std::string& instance, Time now);

    /// Probes and announces again on every link: after the machine slept, for example.
    void startOver(Time now);

    [[nodiscard]] State state() const;

    /// Who has the name, for the log: set when the state is NameTaken.
    [[nodiscard]] const std::string& nameTakenBy() const { return m_nameTakenBy; }

    /// The host name in use, one label.
    [[nodiscard]] const std::string& hostName() const { return m_records.hostLabel(); }

private:
    struct LinkState {
        NetInterface on;
        LinkStartup startup;
        AnswerQueue answers;
        bool nameTaken = false;
    };
    using LinkEntry = std::pair<const Link, LinkState>;

    /// The link that a datagram belongs to. A unicast datagram may arrive on the socket of any
    /// link, since all of them share the port.
    [[nodiscard]] LinkEntry* linkOf(const Link& receivedOn, const asio::ip::address& from);

    void receiveQuery(LinkEntry& entry, const asio::ip::udp::endpoint& from,
                      const dns::Message& query, Time now);
    void queueMulticast(LinkState& link, const asio::ip::udp::endpoint& from,
                        const dns::Message& query, unsigned records, Time now);
    void answerUnicast(const LinkEntry& entry, const asio::ip::udp::endpoint& to, unsigned records);
    void answerLegacy(const LinkEntry& entry, const asio::ip::udp::endpoint& to,
                      const dns::Message& query, unsigned records);
    void breakTie(LinkState& link, const dns::Message& query, Time now);

    void receiveResponse(LinkState& link, const asio::ip::udp::endpoint& from,
                         const dns::Message& response, Time now);
    void nameConflict(LinkState& link, const asio::ip::address& with, Time now);
    void hostConflict(LinkState& link, const asio::ip::address& with, Time now);
    void probeAgain(LinkState& link, Time first);
    void noteConflict(Time now);
    [[nodiscard]] Time nextAttempt(Time now);
    void withdraw();
    void updateEstablished();

    void sendProbe(const LinkEntry& entry);
    void multicast(LinkEntry& entry, unsigned records, Time now);
    void send(const Link& link, std::optional<asio::ip::udp::endpoint> to,
              const dns::Message& message);

    [[nodiscard]] bool isOwnAddress(const asio::ip::address& address) const;
    [[nodiscard]] std::chrono::milliseconds randomDelay(int least, int most);

    ServiceRecords m_records;
    std::mt19937 m_random;
    std::vector<NetInterface> m_interfaces;
    std::map<Link, LinkState> m_links;
    bool m_established = false;
    std::string m_nameTakenBy;
    std::deque<Time> m_conflicts;  ///< The last ones, oldest first.
    support::LogLimit m_nameConflictLog;
    support::LogLimit m_hostConflictLog;
    std::vector<Outgoing> m_outgoing;
};

}  // namespace mdns
