// Searches by multicast DNS (RFC 6762): sends queries and collects the records of the answers.
#include <algorithm>
#include <asio/io_context.hpp>
#include <map>
#include <tuple>

#include "mdns/dns.h"
#include "mdns/multicastsockets.h"
#include "monitor/browser.h"

namespace monitor {
namespace {

namespace dns = mdns::dns;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr milliseconds kCheckInterval{100};
constexpr seconds kInterfaceInterval{2};
constexpr milliseconds kFirstQueryInterval{500};
constexpr std::chrono::minutes kLongestQueryInterval{60};  // RFC 6762, section 5.2.
constexpr std::size_t kMaxRecords = 10000;
constexpr std::size_t kMaxQuestions = 20;

/// Orders names without regard to the case of ASCII letters, as DNS compares them.
struct ByText {
    bool operator()(const dns::Name& a, const dns::Name& b) const {
        const auto lowered = [](const dns::Name& name) {
            std::string text = dns::nameToText(name);
            std::transform(text.begin(), text.end(), text.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? char(c + 32) : c; });
            return text;
        };
        return lowered(a) < lowered(b);
    }
};

/// How long a record is valid, and when to ask for it again: at 80, 85, 90 and 95 % of its life
/// (RFC 6762, section 5.2).
class Lifetime {
public:
    Lifetime() = default;
    Lifetime(std::uint32_t ttl, Clock::time_point now)
        : m_end(now + seconds(ttl)),
          m_refresh(now + seconds(ttl) * 80 / 100),
          m_step(milliseconds(seconds(ttl)) * 5 / 100) {}

    [[nodiscard]] bool ended(Clock::time_point now) const { return now >= m_end; }

    /// True once for each moment at which to ask.
    bool takeRefresh(Clock::time_point now) {
        if (now < m_refresh || m_refresh >= m_end) {
            return false;
        }
        m_refresh += m_step;
        return true;
    }

private:
    Clock::time_point m_end;
    Clock::time_point m_refresh;
    Clock::duration m_step{};
};

template <typename Map>
void removeEnded(Map& map, Clock::time_point now) {
    for (auto entry = map.begin(); entry != map.end();) {
        entry = entry->second.lifetime.ended(now) ? map.erase(entry) : std::next(entry);
    }
}

/// The records received so far. Their number is limited, because any host may send any number.
class Records {
public:
    void add(const mdns::Link& link, const dns::Record& record, Clock::time_point now) {
        if (record.type == dns::kTypePtr && dns::sameName(record.name, m_type)) {
            addInstance(record, now);
        } else if (const auto* srv = std::get_if<dns::Srv>(&record.data)) {
            set(m_services, record.name, {*srv, {record.ttl, now}}, record.ttl);
        } else if (const auto* v4 = std::get_if<dns::Ipv4>(&record.data)) {
            addAddress(record, asio::ip::address_v4(*v4), now);
        } else if (const auto* v6 = std::get_if<dns::Ipv6>(&record.data)) {
            asio::ip::address_v6 address(*v6);
            if (address.is_link_local()) {
                address.scope_id(link.interfaceIndex);
            }
            addAddress(record, address, now);
        }
    }

    [[nodiscard]] FoundSources sources(Clock::time_point now) {
        removeEnded(m_instances, now);
        removeEnded(m_services, now);
        removeEnded(m_addresses, now);
        FoundSources found;
        for (const auto& [instance, ignored] : m_instances) {
            FoundSource source{instance.front(), {}};
            const auto service = m_services.find(instance);
            if (service == m_services.end()) {
                continue;
            }
            const auto& [target, port] =
                std::tie(service->second.data.target, service->second.data.port);
            for (auto address = firstAddress(target);
                 address != m_addresses.end() && dns::sameName(address->first.first, target);
                 ++address) {
                addEndpoint(source, {address->first.second, port});
            }
            if (!source.endpoints.empty()) {
                found.push_back(std::move(source));
            }
        }
        return found;
    }

    /// Asks for the sources, and for the records that the answers so far did not include.
    [[nodiscard]] dns::Message query() {
        dns::Message message;
        ask(message, m_type, dns::kTypePtr);
        for (const auto& [instance, ignored] : m_instances) {
            const auto service = m_services.find(instance);
            if (service == m_services.end()) {
                ask(message, instance, dns::kTypeSrv);
            } else if (const auto& host = service->second.data.target; !hasAddress(host)) {
                ask(message, host, dns::kTypeAny);
            }
        }
        return message;
    }

    /// Asks for the records that are about to end. Without questions if there are none.
    [[nodiscard]] dns::Message refresh(Clock::time_point now) {
        dns::Message message;
        for (auto& [instance, entry] : m_instances) {
            if (entry.lifetime.takeRefresh(now)) {
                ask(message, m_type, dns::kTypePtr);
                break;  // One question is for all of them.
            }
        }
        for (auto& [instance, entry] : m_services) {
            if (m_instances.count(instance) != 0 && entry.lifetime.takeRefresh(now)) {
                ask(message, instance, dns::kTypeSrv);
            }
        }
        for (auto& [key, entry] : m_addresses) {
            if (isNeeded(key.first) && entry.lifetime.takeRefresh(now)) {
                ask(message, key.first, dns::kTypeAny);
            }
        }
        return message;
    }

private:
    struct Instance {
        Lifetime lifetime;
    };
    struct Service {
        dns::Srv data;
        Lifetime lifetime;
    };
    struct Address {
        Lifetime lifetime;
    };
    using AddressKey = std::pair<dns::Name, asio::ip::address>;
    struct ByHost {
        bool operator()(const AddressKey& a, const AddressKey& b) const {
            const ByText less;
            return less(a.first, b.first) || (!less(b.first, a.first) && a.second < b.second);
        }
    };

    /// A lifetime of 0 takes the record back.
    template <typename Map>
    static void set(Map& map, const typename Map::key_type& key,
                    const typename Map::mapped_type& value, std::uint32_t ttl) {
        if (ttl == 0) {
            map.erase(key);
        } else if (map.size() < kMaxRecords) {
            map[key] = value;
        }
    }

    void addInstance(const dns::Record& record, Clock::time_point now) {
        const auto& instance = std::get<dns::Name>(record.data);
        if (instance.size() == m_type.size() + 1) {
            set(m_instances, instance, {{record.ttl, now}}, record.ttl);
        }
    }

    void addAddress(const dns::Record& record, const asio::ip::address& address,
                    Clock::time_point now) {
        set(m_addresses, {record.name, address}, {{record.ttl, now}}, record.ttl);
    }

    [[nodiscard]] std::map<AddressKey, Address, ByHost>::const_iterator firstAddress(
        const dns::Name& host) const {
        return m_addresses.lower_bound({host, asio::ip::address_v4()});
    }

    [[nodiscard]] bool hasAddress(const dns::Name& host) const {
        const auto address = firstAddress(host);
        return address != m_addresses.end() && dns::sameName(address->first.first, host);
    }

    [[nodiscard]] bool isNeeded(const dns::Name& host) const {
        return std::any_of(m_services.begin(), m_services.end(), [&](const auto& service) {
            return m_instances.count(service.first) != 0 &&
                   dns::sameName(service.second.data.target, host);
        });
    }

    static void ask(dns::Message& message, const dns::Name& name, std::uint16_t type) {
        const auto asked = [&](const dns::Question& question) {
            return question.type == type && dns::sameName(question.name, name);
        };
        auto& questions = message.questions;
        if (questions.size() < kMaxQuestions &&
            std::none_of(questions.begin(), questions.end(), asked)) {
            questions.push_back({name, type, dns::kClassIn, false});
        }
    }

    const dns::Name m_type = dns::nameFromText("_ndi._tcp.local");
    std::map<dns::Name, Instance, ByText> m_instances;
    std::map<dns::Name, Service, ByText> m_services;
    std::map<AddressKey, Address, ByHost> m_addresses;
};

/// Queries and listens on all interfaces.
class Search {
public:
    FoundSources run(milliseconds limit, const Enough& enough) {
        const auto end = Clock::now() + limit;
        for (auto now = Clock::now(); now < end && !enough(m_records.sources(now));
             now = Clock::now()) {
            followInterfaces(now);
            sendQueries(now);
            m_context.restart();
            m_context.run_for(kCheckInterval);
        }
        return m_records.sources(Clock::now());
    }

private:
    void received(const mdns::Link& link, const asio::ip::udp::endpoint& from,
                  const std::uint8_t* bytes, std::size_t size) {
        const auto message = dns::parse(bytes, size);
        if (!message || !message->response || from.port() != mdns::kPort) {
            return;
        }
        for (const auto* section : {&message->answers, &message->additionals}) {
            for (const auto& record : *section) {
                m_records.add(link, record, Clock::now());
            }
        }
    }

    /// A new interface is asked at once.
    void followInterfaces(Clock::time_point now) {
        if (now < m_nextInterfaces) {
            return;
        }
        m_nextInterfaces = now + kInterfaceInterval;
        auto links = m_sockets.setInterfaces(mdns::multicastInterfaces());
        if (links != m_links) {
            m_links = std::move(links);
            m_interval = kFirstQueryInterval;
            m_nextQuery = now;
        }
    }

    void sendQueries(Clock::time_point now) {
        if (now >= m_nextQuery) {
            send(m_records.query());
            m_nextQuery = now + m_interval;
            m_interval = std::min<milliseconds>(2 * m_interval, kLongestQueryInterval);
        }
        if (const auto refresh = m_records.refresh(now); !refresh.questions.empty()) {
            send(refresh);
        }
    }

    void send(const dns::Message& message) {
        const auto bytes = dns::write(message);
        for (const auto& link : m_links) {
            m_sockets.sendToGroup(link, bytes);
        }
    }

    asio::io_context m_context;
    Records m_records;
    mdns::MulticastSockets m_sockets{
        m_context, [this](const auto& link, const auto& from, const auto* bytes, std::size_t size) {
            received(link, from, bytes, size);
        }};
    std::vector<mdns::Link> m_links;
    milliseconds m_interval = kFirstQueryInterval;
    Clock::time_point m_nextQuery;
    Clock::time_point m_nextInterfaces;
};

}  // namespace

FoundSources browseByMulticast(milliseconds limit, const Enough& enough) {
    return Search().run(limit, enough);
}

}  // namespace monitor
