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
// RFC 6762, 8.1: after fifteen conflicts within ten seconds the next probe waits five seconds.
constexpr std::size_t kManyConflicts = 15;
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
    const Time start = now + randomDelay(0, 250);
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
            states.emplace(link, LinkState{*on, LinkStartup(start), {}, false});
            continue;
        }
        auto& state = states.emplace(link, std::move(known->second)).first->second;
        if (!(state.on == *on)) {
            state.startup.announceAgain(now);
        }
        state.on = *on;
    }
    m_links.swap(states);
    updateEstablished();
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
                state.nameTaken = false;
                multicast(entry, kPositiveRecords, now);
                break;
            case LinkStartup::Action::None:
                break;
        }
    }
    updateEstablished();
}

Responder::Time Responder::nextDue() const {
    Time due = Time::max();
    for (const auto& [link, state] : m_links) {
        due = std::min({due, state.startup.nextDue(), state.answers.nextDue()});
    }
    return due;
}

Responder::State Responder::state() const {
    if (m_links.empty()) {
        return State::NoLink;
    }
    if (std::any_of(m_links.begin(), m_links.end(),
                    [](const auto& entry) { return entry.second.nameTaken; })) {
        return State::NameTaken;
    }
    return m_established ? State::Established : State::Probing;
}

void Responder::updateEstablished() {
    const auto probing = [](const auto& entry) { return entry.second.startup.probing(); };
    m_established = m_established
                        ? !std::all_of(m_links.begin(), m_links.end(), probing)
                        : !m_links.empty() && std::none_of(m_links.begin(), m_links.end(), probing);
}

void Responder::startOver(Time now) {
    const Time first = now + randomDelay(0, 250);
    for (auto& [link, state] : m_links) {
        probeAgain(state, first);
    }
    updateEstablished();
}

void Responder::rename(const std::string& instance, Time now) {
    withdraw();
    m_records.rename(instance);
    const Time first = nextAttempt(now);
    for (auto& [link, state] : m_links) {
        state.nameTaken = false;
        probeAgain(state, first);
    }
    updateEstablished();
}

// --- receiving -------------------------------------------------------------------------------

void Responder::receive(const Link& link, const udp::endpoint& from, const std::uint8_t* bytes,
                        std::size_t size, Time now) {
    auto* const entry = linkOf(link, from.address());
    if (entry == nullptr) {
        return;
    }
    const auto message = dns::parse(bytes, size);
    if (!message || message->opcode != 0 || message->responseCode != 0) {
        return;
    }
    if (!message->response) {
        receiveQuery(*entry, from, *message, now);
    } else if (from.port() == kPort && isOnLink(entry->second.on, from.address())) {
        receiveResponse(entry->second, from, *message, now);
    }
}

Responder::LinkEntry* Responder::linkOf(const Link& receivedOn, const asio::ip::address& from) {
    const auto same = m_links.find(receivedOn);
    if (same != m_links.end() && isOnLink(same->second.on, from)) {
        return &*same;
    }
    const auto other = std::find_if(m_links.begin(), m_links.end(), [&](const auto& entry) {
        return entry.first.v6 == receivedOn.v6 && isOnLink(entry.second.on, from);
    });
    if (other != m_links.end()) {
        return &*other;
    }
    return same != m_links.end() ? &*same : nullptr;
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
    if (byMulticast != 0) {
        queueMulticast(state, from, query, byMulticast, now);
    }
}

void Responder::queueMulticast(LinkState& link, const udp::endpoint& from,
                               const dns::Message& query, unsigned records, Time now) {
    if (!query.authorities.empty()) {
        link.answers.add(from, records, now, AnswerQueue::Reason::Probe);
        return;
    }
    // Several hosts may answer for a shared record, so its answers are spread over time. A unique
    // record has one answer, which is sent at once.
    const milliseconds delay = query.truncated                   ? randomDelay(400, 500)
                               : (records & kSharedRecords) != 0 ? randomDelay(20, 120)
                                                                 : milliseconds(0);
    link.answers.add(
        from, records, now + delay,
        query.truncated ? AnswerQueue::Reason::TruncatedQuery : AnswerQueue::Reason::Query);
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

void Responder::receiveResponse(LinkState& link, const udp::endpoint& from,
                                const dns::Message& response, Time now) {
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
        nameConflict(link, from.address(), now);
    }
    if (hostTaken) {
        hostConflict(link, from.address(), now);
    }
    updateEstablished();
}

// --- conflicts -------------------------------------------------------------------------------

void Responder::nameConflict(LinkState& link, const asio::ip::address& with, Time now) {
    if (link.startup.probing() && !link.startup.probeSent()) {
        return;  // The answers to the first probe decide.
    }
    noteConflict(now);
    // A second responder on this host shares the port: its datagrams come from our own address.
    m_nameTakenBy = isOwnAddress(with)
                        ? std::string("another program on this host")
                        : fmt::format("another host ({})", withoutScope(with).to_string());
    if (link.startup.probing()) {
        link.nameTaken = true;
        probeAgain(link, now + kTakenDelay);
        return;
    }
    // RFC 6762, 9: back to probing, which decides whose name it is.
    probeAgain(link, nextAttempt(now));
    if (const auto more = m_nameConflictLog.allows()) {
        HV_WARN("name conflict on {}: {} publishes \"{}\", too; probing again{}", link.on.name,
                m_nameTakenBy, m_records.service().instance, *more);
    }
}

void Responder::hostConflict(LinkState& link, const asio::ip::address& with, Time now) {
    noteConflict(now);
    const std::string before = hostName();
    m_records.renameHost();
    if (const auto more = m_hostConflictLog.allows()) {
        HV_WARN(
            "host name conflict on {}: another machine ({}) is called {}.local; using {}.local{}",
            link.on.name, withoutScope(with).to_string(), before, hostName(), *more);
    }
    const Time first = nextAttempt(now);
    for (auto& [key, state] : m_links) {
        if (&state != &link) {
            state.startup.announceAgain(now);  // Its SRV record names another host now.
        } else if (!state.nameTaken) {
            probeAgain(state, first);
        }
    }
}

void Responder::probeAgain(LinkState& link, Time first) {
    link.startup.probeAgain(first);
    link.answers.clear();
}

void Responder::noteConflict(Time now) {
    m_conflicts.push_back(now);
    if (m_conflicts.size() > kManyConflicts) {
        m_conflicts.pop_front();
    }
}

/// When to probe after a conflict.
Responder::Time Responder::nextAttempt(Time now) {
    constexpr seconds kWindow{10};
    constexpr seconds kBackOff{5};
    const bool many = m_conflicts.size() == kManyConflicts && now - m_conflicts.front() < kWindow;
    return many ? now + kBackOff : now + randomDelay(0, 250);
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
    withdraw();
    m_links.clear();
}

void Responder::withdraw() {
    for (const auto& [link, state] : m_links) {
        if (state.startup.probing()) {
            continue;
        }
        // The records of the type and the host stay: other services and responders here use them.
        // The new owner of a lost name has the same PTR and TXT records, which stay for it.
        const unsigned index = link.interfaceIndex;
        const bool lost = std::any_of(m_links.begin(), m_links.end(), [&](const auto& other) {
            return other.first.interfaceIndex == index && other.second.nameTaken;
        });
        dns::Message goodbye = authoritativeAnswer();
        goodbye.answers =
            m_records.get(state.on, lost ? unsigned{kSrv} : kInstancePtr | kSrv | kTxt);
        for (auto& record : goodbye.answers) {
            record.ttl = 0;
        }
        send(link, std::nullopt, goodbye);
    }
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
    const unsigned additionals = m_records.additionalsFor(entry.second.on, records);
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
    records &= kPositiveRecords;  // A plain DNS client does not expect NSEC records here.
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
