#include "mdns/responder.h"

#include <algorithm>
#include <utility>

#include "support/log.h"

namespace mdns {
namespace {

using asio::ip::udp;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int kProbes = 3;
constexpr milliseconds kProbeInterval{250};
constexpr int kAnnouncements = 2;
constexpr seconds kAnnounceInterval{1};
constexpr seconds kTieLostDelay{1};
constexpr seconds kTakenDelay{10};
constexpr seconds kMulticastInterval{1};  // A record is not multicast more often.
constexpr std::uint32_t kHostTtl = 120;   // Records that name the host or its addresses.
constexpr std::uint32_t kOtherTtl = 4500;
constexpr std::uint32_t kLegacyTtl = 10;  // A plain DNS client gets no updates.
constexpr std::size_t kMaxPending = 64;

std::uint32_t ttlOf(const dns::Record& record) {
    return record.type == dns::kTypePtr || record.type == dns::kTypeTxt ? kOtherTtl : kHostTtl;
}

dns::Record makeRecord(dns::Name name, dns::Type type, dns::RecordData data) {
    dns::Record record;
    record.name = std::move(name);
    record.type = type;
    record.cacheFlush = type != dns::kTypePtr;
    record.data = std::move(data);
    record.ttl = ttlOf(record);
    return record;
}

/// The addresses to publish on an interface: link-local IPv6 only when there is no other IPv6.
std::vector<asio::ip::address> publishedAddresses(const NetInterface& on) {
    const auto isLocal6 = [](const asio::ip::address& address) {
        return address.is_v6() && address.to_v6().is_link_local();
    };
    const bool global6 = std::any_of(
        on.addresses.begin(), on.addresses.end(),
        [&](const auto& entry) { return entry.address.is_v6() && !isLocal6(entry.address); });
    std::vector<asio::ip::address> published;
    for (const auto& entry : on.addresses) {
        if (!global6 || !isLocal6(entry.address)) {
            published.push_back(entry.address);
        }
    }
    return published;
}

std::optional<asio::ip::address> addressIn(const dns::Record& record) {
    if (const auto* v4 = std::get_if<dns::Ipv4>(&record.data)) {
        return asio::ip::address_v4(*v4);
    }
    if (const auto* v6 = std::get_if<dns::Ipv6>(&record.data)) {
        return asio::ip::address_v6(*v6);
    }
    return std::nullopt;
}

/// What two hosts that probe at the same time compare: the greater one wins.
std::vector<std::pair<std::uint32_t, dns::Bytes>> tieBreakKey(
    const std::vector<dns::Record>& records) {
    std::vector<std::pair<std::uint32_t, dns::Bytes>> key;
    key.reserve(records.size());
    for (const auto& record : records) {
        key.emplace_back(std::uint32_t{record.rclass} << 16U | record.type, dns::dataBytes(record));
    }
    std::sort(key.begin(), key.end());
    return key;
}

template <typename BytesType>
bool samePrefix(const BytesType& a, const BytesType& b, unsigned bits) {
    for (std::size_t i = 0; i < a.size() && bits > 0; ++i) {
        const unsigned compared = std::min(bits, 8U);
        if (((a[i] ^ b[i]) & (0xFF00U >> compared) & 0xFFU) != 0) {
            return false;
        }
        bits -= compared;
    }
    return true;
}

}  // namespace

bool isOnLink(const NetInterface& on, const asio::ip::address& address) {
    if (address.is_v6() && address.to_v6().is_link_local()) {
        return true;
    }
    return std::any_of(on.addresses.begin(), on.addresses.end(), [&](const auto& own) {
        if (own.address.is_v6() != address.is_v6()) {
            return false;
        }
        return address.is_v4() ? samePrefix(own.address.to_v4().to_bytes(),
                                            address.to_v4().to_bytes(), own.prefixLength)
                               : samePrefix(own.address.to_v6().to_bytes(),
                                            address.to_v6().to_bytes(), own.prefixLength);
    });
}

Responder::Responder(ServiceInfo service, std::uint32_t randomSeed)
    : m_service(std::move(service)),
      m_typeName(dns::nameFromText(m_service.type + ".local")),
      m_typeListName(dns::nameFromText("_services._dns-sd._udp.local")),
      m_instanceName([this] {
          dns::Name name = m_typeName;
          name.insert(name.begin(), m_service.instance);
          return name;
      }()),
      m_host{m_service.host},
      m_hostName{m_service.host, "local"},
      m_random(randomSeed) {}

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
        auto& state = states[link];
        const auto known = m_links.find(link);
        if (known == m_links.end()) {
            state.next = start;
        } else {
            state = std::move(known->second);
            if (!(state.on == *on) && state.phase != Phase::Probing) {
                state.phase = Phase::Announcing;
                state.sent = 0;
                state.next = now;
            }
        }
        state.on = *on;
    }
    m_links.swap(states);
}

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
    auto& [link, state] = entry;
    if (state.phase == Phase::Probing) {
        breakTie(state, query, now);
        return;
    }
    if (query.questions.empty()) {
        // More known answers for a query that came before.
        for (auto& pending : state.pending) {
            if (pending.from == from) {
                pending.records = withoutKnown(state, query, pending.records);
            }
        }
        return;
    }
    const bool local = isOnLink(state.on, from.address());
    unsigned byMulticast = 0;
    unsigned byUnicast = 0;
    for (const auto& question : query.questions) {
        const unsigned asked = matching(state, question);
        // A probe is defended against by multicast: the unicast answer might reach another
        // program that shares the port with the one that probes.
        const bool unicast = question.unicastResponse && query.authorities.empty() && local;
        (unicast ? byUnicast : byMulticast) |= asked;
    }
    if (from.port() != kPort) {
        if (local) {
            answerLegacy(entry, from, query, byMulticast | byUnicast);
        }
        return;
    }
    for (const auto& record : records(state, byUnicast)) {
        // Now and then everybody's caches profit from an answer.
        const unsigned bit = matching(state, {record.name, record.type, dns::kClassIn, false});
        if (now - state.lastMulticast[bit] > seconds(record.ttl / 4)) {
            byMulticast |= bit;
            byUnicast &= ~bit;
        }
    }
    byUnicast = withoutKnown(state, query, byUnicast);
    if (byUnicast != 0) {
        dns::Message answer;
        answer.response = answer.authoritative = true;
        answer.answers = records(state, byUnicast);
        send(link, from, answer);
    }
    byMulticast = withoutKnown(state, query, byMulticast);
    if (byMulticast != 0 && !query.authorities.empty()) {
        multicast(entry, byMulticast, now);
    } else if (byMulticast != 0) {
        answerMulticast(state, from, byMulticast, query.truncated, now);
    }
}

void Responder::answerMulticast(LinkState& link, const udp::endpoint& from, unsigned records,
                                bool moreToCome, Time now) {
    // Several hosts answer for a shared record: spread out. Only one answers for a unique one.
    Time due = now;
    if (moreToCome) {
        due += randomDelay(400, 500);
    } else if ((records & ~kUnique) != 0) {
        due += randomDelay(20, 120);
    }
    const auto same =
        std::find_if(link.pending.begin(), link.pending.end(), [&](const Pending& pending) {
            return pending.from == from || link.pending.size() >= kMaxPending;
        });
    if (same == link.pending.end()) {
        link.pending.push_back({due, from, records});
    } else {
        same->due = moreToCome ? std::max(same->due, due) : std::min(same->due, due);
        same->records |= records;
    }
}

void Responder::answerLegacy(LinkEntry& entry, const udp::endpoint& from, const dns::Message& query,
                             unsigned records_) {
    if (records_ == 0) {
        return;
    }
    dns::Message answer;
    answer.id = query.id;
    answer.response = answer.authoritative = true;
    answer.questions = query.questions;
    answer.answers = records(entry.second, records_);
    for (auto& record : answer.answers) {
        record.ttl = std::min(record.ttl, kLegacyTtl);
        record.cacheFlush = false;
    }
    send(entry.first, from, answer);
}

void Responder::breakTie(LinkState& link, const dns::Message& query, Time now) {
    std::vector<dns::Record> theirs;
    std::copy_if(query.authorities.begin(), query.authorities.end(), std::back_inserter(theirs),
                 [this](const auto& record) { return dns::sameName(record.name, m_instanceName); });
    // Before the first probe there is nothing to compare with: the other one is heard out.
    if (!theirs.empty() && link.sent > 0 &&
        tieBreakKey(records(link, kSrv | kTxt)) < tieBreakKey(theirs)) {
        HV_DEBUG("another host probes for \"{}\" at the same time and goes first",
                 m_service.instance);
        link.sent = 0;
        link.next = now + kTieLostDelay;
    }
}

void Responder::receiveResponse(const udp::endpoint& from, const dns::Message& response, Time now) {
    bool nameTaken = false;
    bool hostTaken = false;
    for (const auto* section : {&response.answers, &response.additionals}) {
        for (const auto& record : *section) {
            if (record.ttl == 0 || record.rclass != dns::kClassIn) {
                continue;
            }
            if (dns::sameName(record.name, m_instanceName)) {
                nameTaken = nameTaken || !isOurs(record, from.address());
            } else if (dns::sameName(record.name, m_hostName)) {
                const auto address = addressIn(record);
                hostTaken = hostTaken ||
                            (address && !isOwnAddress(*address) && !isOwnAddress(from.address()));
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

void Responder::nameConflict(Time now) {
    const bool announced = std::any_of(m_links.begin(), m_links.end(), [](const auto& entry) {
        return entry.second.phase != Phase::Probing;
    });
    if (announced) {
        HV_WARN("another host publishes \"{}\" too; asking again whose name it is",
                m_service.instance);
        restartProbing(now + randomDelay(0, 250));
    } else {
        m_nameTaken = true;
        restartProbing(now + kTakenDelay);
    }
}

void Responder::hostConflict(Time now) {
    m_host.insert(m_host.begin(), m_service.host + "-" + std::to_string(m_host.size() + 1));
    HV_WARN("another machine is called {}.local; using {}.local", m_hostName.front(),
            m_host.front());
    m_hostName.front() = m_host.front();
    if (!m_nameTaken) {
        restartProbing(now + randomDelay(0, 250));
    }
}

void Responder::restartProbing(Time first) {
    for (auto& [link, state] : m_links) {
        state.phase = Phase::Probing;
        state.sent = 0;
        state.next = first;
        state.pending.clear();
    }
}

void Responder::advance(Time now) {
    for (auto& entry : m_links) {
        flushPending(entry, now);
        advancePhase(entry, now);
    }
}

void Responder::advancePhase(LinkEntry& entry, Time now) {
    auto& state = entry.second;
    if (state.phase == Phase::Running || state.next > now) {
        return;
    }
    if (state.phase == Phase::Probing && state.sent < kProbes) {
        sendProbe(entry);
        ++state.sent;
        state.next = now + kProbeInterval;
        return;
    }
    if (state.phase == Phase::Probing) {
        state.phase = Phase::Announcing;
        state.sent = 0;
        m_nameTaken = false;
    }
    multicast(entry, kAll, now);
    state.next = now + kAnnounceInterval;
    if (++state.sent == kAnnouncements) {
        state.phase = Phase::Running;
    }
}

void Responder::flushPending(LinkEntry& entry, Time now) {
    auto& state = entry.second;
    unsigned ready = 0;
    for (auto& pending : state.pending) {
        if (pending.due > now) {
            continue;
        }
        Time earliest = Time::max();
        for (unsigned bit = 1; bit <= kAll; bit <<= 1U) {
            if ((pending.records & bit) == 0) {
                continue;
            }
            const Time allowed = state.lastMulticast[bit] + kMulticastInterval;
            if (allowed <= now) {
                ready |= bit;
                pending.records &= ~bit;
            } else {
                earliest = std::min(earliest, allowed);
            }
        }
        pending.due = earliest;
    }
    state.pending.erase(std::remove_if(state.pending.begin(), state.pending.end(),
                                       [](const auto& pending) { return pending.records == 0; }),
                        state.pending.end());
    if (ready != 0) {
        multicast(entry, ready, now);
    }
}

Responder::Time Responder::nextDue() const {
    Time due = Time::max();
    for (const auto& [link, state] : m_links) {
        if (state.phase != Phase::Running) {
            due = std::min(due, state.next);
        }
        for (const auto& pending : state.pending) {
            due = std::min(due, pending.due);
        }
    }
    return due;
}

std::vector<Responder::Outgoing> Responder::takeOutgoing() {
    return std::exchange(m_outgoing, {});
}

void Responder::sayGoodbye() {
    for (const auto& [link, state] : m_links) {
        if (state.phase == Phase::Probing) {
            continue;
        }
        // Not the type and the host: other services, and other responders here, go on with them.
        dns::Message goodbye;
        goodbye.response = goodbye.authoritative = true;
        goodbye.answers = records(state, kInstance | kSrv | kTxt);
        for (auto& record : goodbye.answers) {
            record.ttl = 0;
        }
        send(link, std::nullopt, goodbye);
    }
    m_links.clear();
}

Responder::State Responder::state() const {
    if (m_nameTaken) {
        return State::NameTaken;
    }
    if (m_links.empty()) {
        return State::NoLink;
    }
    const bool probing = std::any_of(m_links.begin(), m_links.end(), [](const auto& entry) {
        return entry.second.phase == Phase::Probing;
    });
    return probing ? State::Probing : State::Established;
}

void Responder::sendProbe(const LinkEntry& entry) {
    dns::Message probe;
    // No unicast answers wanted: the port is shared, they might reach another program.
    probe.questions = {{m_instanceName, dns::kTypeAny, dns::kClassIn, false},
                       {m_hostName, dns::kTypeAny, dns::kClassIn, false}};
    probe.authorities = records(entry.second, kSrv | kTxt);
    for (auto& record : probe.authorities) {
        record.cacheFlush = false;
    }
    send(entry.first, std::nullopt, probe);
}

void Responder::multicast(LinkEntry& entry, unsigned which, Time now) {
    unsigned helpful = 0;
    if ((which & kInstance) != 0) {
        helpful |= kSrv | kTxt | kHost;
    }
    if ((which & kSrv) != 0) {
        helpful |= kHost;
    }
    dns::Message message;
    message.response = message.authoritative = true;
    message.answers = records(entry.second, which);
    message.additionals = records(entry.second, helpful & ~which);
    for (unsigned bit = 1; bit <= kAll; bit <<= 1U) {
        if (((which | helpful) & bit) != 0) {
            entry.second.lastMulticast[bit] = now;
        }
    }
    send(entry.first, std::nullopt, message);
}

void Responder::send(const Link& link, std::optional<udp::endpoint> to,
                     const dns::Message& message) {
    m_outgoing.push_back({link, std::move(to), dns::write(message)});
}

unsigned Responder::matching(const LinkState& link, const dns::Question& question) const {
    if (question.qclass != dns::kClassIn && question.qclass != dns::kClassAny) {
        return 0;
    }
    unsigned found = 0;
    for (unsigned bit = 1; bit <= kAll; bit <<= 1U) {
        for (const auto& record : records(link, bit)) {
            if ((question.type == record.type || question.type == dns::kTypeAny) &&
                dns::sameName(question.name, record.name)) {
                found |= bit;
            }
        }
    }
    return found;
}

unsigned Responder::withoutKnown(const LinkState& link, const dns::Message& query,
                                 unsigned which) const {
    for (unsigned bit = 1; bit <= kAll; bit <<= 1U) {
        const auto ours = records(link, which & bit);
        const bool known = std::all_of(ours.begin(), ours.end(), [&](const auto& own) {
            return std::any_of(query.answers.begin(), query.answers.end(), [&](const auto& theirs) {
                return theirs.ttl >= own.ttl / 2 && dns::sameRecord(own, theirs);
            });
        });
        if (known) {
            which &= ~bit;
        }
    }
    return which;
}

std::vector<dns::Record> Responder::records(const LinkState& link, unsigned which) const {
    std::vector<dns::Record> found;
    if ((which & kTypeList) != 0) {
        found.push_back(makeRecord(m_typeListName, dns::kTypePtr, m_typeName));
    }
    if ((which & kInstance) != 0) {
        found.push_back(makeRecord(m_typeName, dns::kTypePtr, m_instanceName));
    }
    if ((which & kSrv) != 0) {
        found.push_back(srvTo(m_host.front()));
    }
    if ((which & kTxt) != 0) {
        found.push_back(txt());
    }
    if ((which & kHost) != 0) {
        for (const auto& address : publishedAddresses(link.on)) {
            if (address.is_v4() && (which & kHostA) != 0) {
                found.push_back(makeRecord(m_hostName, dns::kTypeA, address.to_v4().to_bytes()));
            } else if (address.is_v6() && (which & kHostAaaa) != 0) {
                found.push_back(makeRecord(m_hostName, dns::kTypeAaaa, address.to_v6().to_bytes()));
            }
        }
    }
    return found;
}

dns::Record Responder::srvTo(const std::string& host) const {
    dns::Srv srv;
    srv.port = m_service.port;
    srv.target = {host, "local"};
    return makeRecord(m_instanceName, dns::kTypeSrv, std::move(srv));
}

dns::Record Responder::txt() const {
    return makeRecord(m_instanceName, dns::kTypeTxt, dns::Bytes{0});  // One empty text.
}

bool Responder::isOurs(const dns::Record& instanceRecord, const asio::ip::address& from) const {
    if (instanceRecord.type == dns::kTypeTxt) {
        return dns::sameRecord(instanceRecord, txt());
    }
    if (instanceRecord.type != dns::kTypeSrv) {
        return true;  // Others may add what does not compete with our records.
    }
    if (dns::sameRecord(instanceRecord, srvTo(m_host.front()))) {
        return true;
    }
    // Our own datagrams come back, those from before a change of the host name too. From another
    // machine that is the owner of the host name, who has a source of our name at the same port.
    return isOwnAddress(from) && std::any_of(m_host.begin(), m_host.end(), [&](const auto& host) {
               return dns::sameRecord(instanceRecord, srvTo(host));
           });
}

bool Responder::isOwnAddress(const asio::ip::address& address) const {
    const auto withoutScope = [](const asio::ip::address& full) {
        return full.is_v4() ? full
                            : asio::ip::address(asio::ip::address_v6(full.to_v6().to_bytes()));
    };
    for (const auto& each : m_interfaces) {
        for (const auto& own : each.addresses) {
            if (withoutScope(own.address) == withoutScope(address)) {
                return true;
            }
        }
    }
    return false;
}

milliseconds Responder::randomDelay(int least, int most) {
    return milliseconds(std::uniform_int_distribution<int>(least, most)(m_random));
}

}  // namespace mdns
