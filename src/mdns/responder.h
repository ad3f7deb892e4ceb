#pragma once
// What a multicast DNS responder does for one service, without its sockets and without a clock:
// a subset of RFC 6762 and RFC 6763. Time is handed in, datagrams are handed in and fetched.
//
// It probes for the service's name on every link, announces it, answers for it (by multicast, by
// unicast to who asks for that, and to plain DNS clients), suppresses what the asker knows, notices
// when somebody else uses the name, and says goodbye. The host's name is treated more gently: it is
// usually held by the system's own responder too, which publishes the same addresses. It is asked
// for, never probed for; when another machine turns out to have it, "-2" and so on is appended.

#include <asio/ip/udp.hpp>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "mdns/dns.h"
#include "mdns/multicastsockets.h"

namespace mdns {

struct ServiceInfo {
    std::string instance;  ///< One label: 1 to 63 bytes.
    std::string type;      ///< "_ndi._tcp".
    std::uint16_t port = 0;
    std::string host;  ///< One label, at most 59 bytes, so that a number fits behind it.
};

/// One thread at a time.
class Responder {
public:
    using Time = std::chrono::steady_clock::time_point;

    enum class State {
        NoLink,       ///< No network to speak on.
        Probing,      ///< Asking whether the name is free, on at least one link.
        Established,  ///< The name is ours and was announced on every link.
        NameTaken,    ///< Somebody else has it. Probed for again after ten seconds.
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

    /// A datagram that arrived. Anything may be in it.
    void receive(const Link& link, const asio::ip::udp::endpoint& from, const std::uint8_t* bytes,
                 std::size_t size, Time now);

    /// Does what is due at `now`.
    void advance(Time now);

    /// When advance() has something to do next; Time::max() when nothing.
    [[nodiscard]] Time nextDue() const;

    /// What is to be sent now, in order; the caller takes it over.
    [[nodiscard]] std::vector<Outgoing> takeOutgoing();

    /// Withdraws the service wherever it was announced. Nothing else may follow.
    void sayGoodbye();

    [[nodiscard]] State state() const;

    /// The host name in use, one label.
    [[nodiscard]] const std::string& hostName() const { return m_host.front(); }

private:
    /// Our records, as bits of a set.
    enum Own : unsigned {
        kTypeList = 1,  ///< The PTR that lists the service type.
        kInstance = 2,  ///< The PTR from the type to the instance.
        kSrv = 4,
        kTxt = 8,
        kHostA = 16,
        kHostAaaa = 32,
    };
    static constexpr unsigned kAll = 63;
    static constexpr unsigned kHost = kHostA | kHostAaaa;
    static constexpr unsigned kUnique = kSrv | kTxt | kHost;

    enum class Phase { Probing, Announcing, Running };

    /// An answer that waits for its time.
    struct Pending {
        Time due;
        asio::ip::udp::endpoint from;
        unsigned records = 0;
    };

    struct LinkState {
        NetInterface on;
        Phase phase = Phase::Probing;
        int sent = 0;  ///< Probes or announcements of this phase.
        Time next;     ///< When the next one is due; unused while running.
        std::vector<Pending> pending;
        std::map<unsigned, Time> lastMulticast;  ///< By record bit.
    };
    using LinkEntry = std::pair<const Link, LinkState>;

    void receiveQuery(LinkEntry& entry, const asio::ip::udp::endpoint& from,
                      const dns::Message& query, Time now);
    void receiveResponse(const asio::ip::udp::endpoint& from, const dns::Message& response,
                         Time now);
    void answerMulticast(LinkState& link, const asio::ip::udp::endpoint& from, unsigned records,
                         bool moreToCome, Time now);
    void answerLegacy(LinkEntry& entry, const asio::ip::udp::endpoint& from,
                      const dns::Message& query, unsigned records);
    void breakTie(LinkState& link, const dns::Message& query, Time now);
    void nameConflict(Time now);
    void hostConflict(Time now);
    void restartProbing(Time first);

    void advancePhase(LinkEntry& entry, Time now);
    void flushPending(LinkEntry& entry, Time now);
    void sendProbe(const LinkEntry& entry);
    void multicast(LinkEntry& entry, unsigned records, Time now);
    void send(const Link& link, std::optional<asio::ip::udp::endpoint> to,
              const dns::Message& message);

    [[nodiscard]] unsigned matching(const LinkState& link, const dns::Question& question) const;
    [[nodiscard]] unsigned withoutKnown(const LinkState& link, const dns::Message& query,
                                        unsigned records) const;
    [[nodiscard]] std::vector<dns::Record> records(const LinkState& link, unsigned which) const;
    [[nodiscard]] dns::Record srvTo(const std::string& host) const;
    [[nodiscard]] dns::Record txt() const;
    [[nodiscard]] bool isOurs(const dns::Record& instanceRecord,
                              const asio::ip::address& from) const;
    [[nodiscard]] bool isOwnAddress(const asio::ip::address& address) const;
    [[nodiscard]] std::chrono::milliseconds randomDelay(int least, int most);

    const ServiceInfo m_service;
    const dns::Name m_typeName;
    const dns::Name m_typeListName;
    const dns::Name m_instanceName;
    std::vector<std::string> m_host;  ///< The host names used, newest first.
    dns::Name m_hostName;
    std::mt19937 m_random;
    std::vector<NetInterface> m_interfaces;
    std::map<Link, LinkState> m_links;
    bool m_nameTaken = false;
    std::vector<Outgoing> m_outgoing;
};

/// True when `address` is one of the interface's own networks, or link-local.
[[nodiscard]] bool isOnLink(const NetInterface& on, const asio::ip::address& address);

}  // namespace mdns
