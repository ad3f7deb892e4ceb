#include "mdns/responder.h"

#include <algorithm>
#include <utility>

#include "support/log.h"

namespace mdns {
namespace {

using asio::ip::udp;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kTieLostDelay{1};
constexpr seconds kTakenDelay{10};
constexpr std::uint32_t kLegacyTtl = 10;  // A plain DNS client gets no updates.

std::optional<asio::ip::address> addressIn(const dns::Record& record) {
    if (const auto* v4 = std::get_if<dns::Ipv4>(&record.data)) {
        return asio::ip::address_v4(*v4);
    }
    if (const auto* v6 = std::get_if<dns::Ipv6>(&record.data)) {
        return asio::ip::address_v6(*v6);
    }
    return std::nullopt;
}

dns::Message authoritativeAnswer() {
    dns::Message answer;
    answer.response = answer.authoritative = true;
    return answer;
}

}  // namespace

Responder::Responder(ServiceInfo service, std::uint32_t randomSeed)
    : m_records(std::move(service)), m_random(randomSeed) {}

// --- links and time --------------------------------------------------------------------------

void Responder::setLinks(const std::vector<NetInterface>& interfaces,
                         const std::vector<Link>& links, Time now) {
    m_interfaces = interfaces;
    // One start for all links, so that the name is known to be free on all at the same time.
    const Time start = (m_nameTaken ? now + kTakenDelay : now) + randomDelay(0, 250);
    std::map<Link, LinkState> states;
    for (const auto& link : links) {
        const auto on = std::find_if(interfaces.begin(), interfaces.end(), [&](const auto& each) {
            return each.index == link.interfaceIndex;
        });
        if (on == interfaces.end()) {
            continue;
        }
        const auto known = m_links.find(link);
        if (known == m_links.end()) {
            states.emplace(link, LinkState{*on, LinkStartup(start), {}});
            continue;
        }
        auto& state = states.emplace(link, std::move(known->second)).first->second;
        if (!(state.on == *on)) {
            state.startup.announceAgain(now);
        }
        state.on = *on;
    }
    m_links.swap(states);
}

void Responder::advance(Time now) {
    for (auto& entry : m_links) {
        auto& state = entry.second;
        if (const unsigned due = state.answers.takeDue(now); due != 0) {
            multicast(entry, due, now);
        }
        switch (state.startup.advance(now)) {
            case LinkStartup::Action::Probe:
                sendProbe(entry);
                break;
            case LinkStartup::Action::Announce:
                m_nameTaken = false;
                multicast(entry, kAllRecords, now);
                break;
            case LinkStartup::Action::None:
                break;
        }
    }
}

Responder::Time Responder::nextDue() const {
    Time due = Time::max();
    for (const auto& [link, state] : m_links) {
        due = std::min({due, state.startup.nextDue(), state.answers.nextDue()});
    }
    return due;
}

Responder::State Responder::state() const {
    if (m_nameTaken) {
        return State::NameTaken;
    }
    if (m_links.empty()) {
        return State::NoLink;
    }
    const bool probing = std::any_of(m_links.begin(), m_links.end(), [](const auto& entry) {
        return entry.second.startup.probing();
    });
    return probing ? State::Probing : State::Established;
}

// --- receiving -------------------------------------------------------------------------------

void Responder::receive(const Link& link, const udp::endpoint& from, const std::uint8_t* bytes,
                        std::size_t size, Time now) {
    const auto entry = m_links.find(link);
    if (entry == m_links.end()) {
        return;
    }
    const auto message = dns::parse(bytes, size);
    if (!message || message->opcode != 0 || message->responseCode != 0) {
        return;
    }
    if (!message->response) {
        receiveQuery(*entry, from, *message, now);
    } else if (from.port() == kPort && isOnLink(entry->second.on, from.address())) {
        receiveResponse(from, *message, now);
    }
}

void Responder::receiveQuery(LinkEntry& entry, const udp::endpoint& from, const dns::Message& query,
                             Time now) {
    auto& state = entry.second;
    if (state.startup.probing()) {
        breakTie(state, query, now);
        return;
    }
    if (query.questions.empty()) {
        // More known answers of an earlier query.
        state.answers.suppress(from, [&](unsigned records) {
            return m_records.withoutKnown(state.on, query, records);
        });
        return;
    }
    const bool probe = !query.authorities.empty();
    const bool local = isOnLink(state.on, from.address());
    unsigned byMulticast = 0;
    unsigned byUnicast = 0;
    for (const auto& question : query.questions) {
        // A probe is answered by multicast: a unicast answer may reach another program that shares
        // the port with the one that probes.
        const bool unicast = question.unicastResponse && !probe && local;
        (unicast ? byUnicast : byMulticast) |= m_records.matching(state.on, question);
    }
    if (from.port() != kPort) {
        if (local) {
            answerLegacy(entry, from, query, byMulticast | byUnicast);
        }
        return;
    }
    // Multicast instead of unicast when a quarter of the time to live has passed since the last
    // one, so that other caches stay fresh (RFC 6762, 5.4).
    for (const auto& record : m_records.get(state.on, byUnicast)) {
        const unsigned bit =
            m_records.matching(state.on, {record.name, record.type, dns::kClassIn, false});
        if (now - state.answers.lastMulticast(bit) > seconds(record.ttl / 4)) {
            byMulticast |= bit;
            byUnicast &= ~bit;
        }
    }
    answerUnicast(entry, from, m_records.withoutKnown(state.on, query, byUnicast));
    byMulticast = m_records.withoutKnown(state.on, query, byMulticast);
    if (byMulticast == 0) {
        return;
    }
    if (probe) {
        multicast(entry, byMulticast, now);
        return;
    }
    // Several hosts may answer for a shared record, so its answers are spread over time. A unique
    // record has one answer, which is sent at once.
    const milliseconds delay = query.truncated                       ? randomDelay(400, 500)
                               : (byMulticast & kSharedRecords) != 0 ? randomDelay(20, 120)
                                                                     : milliseconds(0);
    state.answers.add(from, byMulticast, now + delay, query.truncated);
}

void Responder::breakTie(LinkState& link, const dns::Message& query, Time now) {
    std::vector<dns::Record> theirs;
    std::copy_if(query.authorities.begin(), query.authorities.end(), std::back_inserter(theirs),
                 [this](const auto& record) {
                     return dns::sameName(record.name, m_records.instanceName());
                 });
    if (!theirs.empty() && link.startup.probeSent() &&
        losesTieBreak(m_records.get(link.on, kSrv | kTxt), theirs)) {
        HV_DEBUG("another host probes for \"{}\" at the same time and goes first",
                 m_records.service().instance);
        link.startup.probeAgain(now + kTieLostDelay);
    }
}

void Responder::receiveResponse(const udp::endpoint& from, const dns::Message& response, Time now) {
    bool nameTaken = false;
    bool hostTaken = false;
    const bool fromThisHost = isOwnAddress(from.address());
    for (const auto* section : {&response.answers, &response.additionals}) {
        for (const auto& record : *section) {
            if (record.ttl == 0 || record.rclass != dns::kClassIn) {
                continue;
            }
            if (dns::sameName(record.name, m_records.instanceName())) {
                nameTaken = nameTaken || !m_records.isCompatible(record, fromThisHost);
            } else if (dns::sameName(record.name, m_records.hostName())) {
                const auto address = addressIn(record);
                hostTaken = hostTaken || (address && !isOwnAddress(*address) && !fromThisHost);
            }
        }
    }
    if (nameTaken) {
        nameConflict(now);
    }
    if (hostTaken) {
        hostConflict(now);
    }
}

// --- conflicts -------------------------------------------------------------------------------

void Responder::nameConflict(Time now) {
    const bool announced = std::any_of(m_links.begin(), m_links.end(), [](const auto& entry) {
        return !entry.second.startup.probing();
    });
    if (announced) {
        HV_WARN("name conflict: another host publishes \"{}\", too; probing again",
                m_records.service().instance);
        probeAgain(now + randomDelay(0, 250));
    } else {
        m_nameTaken = true;
        probeAgain(now + kTakenDelay);
    }
}

void Responder::hostConflict(Time now) {
    const std::string before = hostName();
    m_records.renameHost();
    HV_WARN("host name conflict: another machine is called {}.local; using {}.local", before,
            hostName());
    if (!m_nameTaken) {
        probeAgain(now + randomDelay(0, 250));
    }
}

void Responder::probeAgain(Time first) {
    for (auto& [link, state] : m_links) {
        state.startup.probeAgain(first);
        state.answers.clear();
    }
}

bool Responder::isOwnAddress(const asio::ip::address& address) const {
    return std::any_of(m_interfaces.begin(), m_interfaces.end(), [&](const auto& each) {
        return std::any_of(each.addresses.begin(), each.addresses.end(), [&](const auto& own) {
            return withoutScope(own.address) == withoutScope(address);
        });
    });
}

// --- sending ---------------------------------------------------------------------------------

std::vector<Responder::Outgoing> Responder::takeOutgoing() {
    return std::exchange(m_outgoing, {});
}

void Responder::sayGoodbye() {
    for (const auto& [link, state] : m_links) {
        if (state.startup.probing()) {
            continue;
        }
        // The records of the type and the host stay: other services and responders here use them.
        dns::Message goodbye = authoritativeAnswer();
        goodbye.answers = m_records.get(state.on, kInstancePtr | kSrv | kTxt);
        for (auto& record : goodbye.answers) {
            record.ttl = 0;
        }
        send(link, std::nullopt, goodbye);
    }
    m_links.clear();
}

void Responder::sendProbe(const LinkEntry& entry) {
    dns::Message probe;
    // Unicast answers are not asked for: the port is shared, they may reach another program.
    probe.questions = {{m_records.instanceName(), dns::kTypeAny, dns::kClassIn, false},
                       {m_records.hostName(), dns::kTypeAny, dns::kClassIn, false}};
    probe.authorities = m_records.get(entry.second.on, kSrv | kTxt);
    for (auto& record : probe.authorities) {
        record.cacheFlush = false;
    }
    send(entry.first, std::nullopt, probe);
}

void Responder::multicast(LinkEntry& entry, unsigned records, Time now) {
    const unsigned additionals = ServiceRecords::additionalsFor(records);
    dns::Message message = authoritativeAnswer();
    message.answers = m_records.get(entry.second.on, records);
    message.additionals = m_records.get(entry.second.on, additionals);
    entry.second.answers.noteMulticast(records | additionals, now);
    send(entry.first, std::nullopt, message);
}

void Responder::answerUnicast(const LinkEntry& entry, const udp::endpoint& to, unsigned records) {
    if (records == 0) {
        return;
    }
    dns::Message answer = authoritativeAnswer();
    answer.answers = m_records.get(entry.second.on, records);
    send(entry.first, to, answer);
}

void Responder::answerLegacy(const LinkEntry& entry, const udp::endpoint& to,
                             const dns::Message& query, unsigned records) {
    if (records == 0) {
        return;
    }
    dns::Message answer = authoritativeAnswer();
    answer.id = query.id;
    answer.questions = query.questions;
    answer.answers = m_records.get(entry.second.on, records);
    for (auto& record : answer.answers) {
        record.ttl = std::min(record.ttl, kLegacyTtl);
        record.cacheFlush = false;
    }
    send(entry.first, to, answer);
}

void Responder::send(const Link& link, std::optional<udp::endpoint> to,
                     const dns::Message& message) {
    m_outgoing.push_back({link, std::move(to), dns::write(message)});
}

milliseconds Responder::randomDelay(int least, int most) {
    return milliseconds(std::uniform_int_distribution<int>(least, most)(m_random));
}

}  // namespace mdns
