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

namespace mdns {

/// One thread at a time.
class Responder {
public:
    using Time = mdns::Time;

    enum class State {
        NoLink,       ///< There is no link to send on.
        Probing,      ///< Probing for the name on at least one link.
        Established,  ///< The name is ours and was announced on every link.
        NameTaken,    ///< Another responder has the name. Probed for again after ten seconds.
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

    /// Withdraws the service on every link where it was announced. The last call but for
    /// takeOutgoing().
    void sayGoodbye();

    [[nodiscard]] State state() const;

    /// The host name in use, one label.
    [[nodiscard]] const std::string& hostName() const { return m_records.hostLabel(); }

private:
    struct LinkState {
        NetInterface on;
        LinkStartup startup;
        AnswerQueue answers;
    };
    using LinkEntry = std::pair<const Link, LinkState>;

    void receiveQuery(LinkEntry& entry, const asio::ip::udp::endpoint& from,
                      const dns::Message& query, Time now);
    void answerUnicast(const LinkEntry& entry, const asio::ip::udp::endpoint& to, unsigned records);
    void answerLegacy(const LinkEntry& entry, const asio::ip::udp::endpoint& to,
                      const dns::Message& query, unsigned records);
    void breakTie(LinkState& link, const dns::Message& query, Time now);

    void receiveResponse(const asio::ip::udp::endpoint& from, const dns::Message& response,
                         Time now);
    void nameConflict(Time now);
    void hostConflict(Time now);
    void probeAgain(Time first);

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
    bool m_nameTaken = false;
    std::vector<Outgoing> m_outgoing;
};

}  // namespace mdns
