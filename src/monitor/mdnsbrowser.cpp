// Searches by multicast DNS (RFC 6762): sends queries and collects the records of the answers.
#include <algorithm>
#include <asio/io_context.hpp>
#include <map>
#include <set>

#include "mdns/dns.h"
#include "mdns/multicastsockets.h"
#include "monitor/browser.h"

namespace monitor {
namespace {

namespace dns = mdns::dns;
using Clock = std::chrono::steady_clock;

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

/// The records received so far. Their number is limited, because any host may send any number.
class Records {
public:
    void add(const mdns::Link& link, const dns::Record& record) {
        constexpr std::size_t kMax = 10000;
        if (record.type == dns::kTypePtr && dns::sameName(record.name, m_type)) {
            const auto& instance = std::get<dns::Name>(record.data);
            if (instance.size() != m_type.size() + 1) {
                return;
            }
            if (record.ttl == 0) {
                m_instances.erase(instance);
            } else if (m_instances.size() < kMax) {
                m_instances.insert(instance);
            }
        } else if (const auto* srv = std::get_if<dns::Srv>(&record.data)) {
            if (record.ttl > 0 && m_services.size() < kMax) {
                m_services[record.name] = *srv;
            }
        } else if (record.ttl > 0 && m_hosts.size() < kMax) {
            if (const auto* v4 = std::get_if<dns::Ipv4>(&record.data)) {
                m_hosts[record.name].insert(asio::ip::address_v4(*v4));
            } else if (const auto* v6 = std::get_if<dns::Ipv6>(&record.data)) {
                asio::ip::address_v6 address(*v6);
                if (address.is_link_local()) {
                    address.scope_id(link.interfaceIndex);
                }
                m_hosts[record.name].insert(address);
            }
        }
    }

    [[nodiscard]] FoundSources sources() const {
        FoundSources found;
        for (const auto& instance : m_instances) {
            FoundSource source{instance.front(), {}};
            const auto service = m_services.find(instance);
            if (service == m_services.end()) {
                continue;
            }
            const auto host = m_hosts.find(service->second.target);
            if (host == m_hosts.end()) {
                continue;
            }
            for (const auto& address : host->second) {
                addEndpoint(source, {address, service->second.port});
            }
            found.push_back(std::move(source));
        }
        return found;
    }

    /// Asks for the sources, and for the records that the answers so far did not include.
    [[nodiscard]] dns::Message query() const {
        dns::Message message;
        message.questions = {{m_type, dns::kTypePtr, dns::kClassIn, false}};
        for (const auto& instance : m_instances) {
            const auto service = m_services.find(instance);
            if (message.questions.size() >= 20) {
                break;
            }
            if (service == m_services.end()) {
                message.questions.push_back({instance, dns::kTypeSrv, dns::kClassIn, false});
            } else if (m_hosts.count(service->second.target) == 0) {
                message.questions.push_back(
                    {service->second.target, dns::kTypeAny, dns::kClassIn, false});
            }
        }
        return message;
    }

private:
    const dns::Name m_type = dns::nameFromText("_ndi._tcp.local");
    std::set<dns::Name, ByText> m_instances;
    std::map<dns::Name, dns::Srv, ByText> m_services;
    std::map<dns::Name, std::set<asio::ip::address>, ByText> m_hosts;
};

}  // namespace

FoundSources browseByMulticast(std::chrono::milliseconds limit, const Enough& enough) {
    Records records;
    asio::io_context context;
    mdns::MulticastSockets sockets(
        context, [&](const mdns::Link& link, const asio::ip::udp::endpoint& from,
                     const std::uint8_t* bytes, std::size_t size) {
            const auto message = dns::parse(bytes, size);
            if (!message || !message->response || from.port() != mdns::kPort) {
                return;
            }
            for (const auto* section : {&message->answers, &message->additionals}) {
                for (const auto& record : *section) {
                    records.add(link, record);
                }
            }
        });
    const auto links = sockets.setInterfaces(mdns::multicastInterfaces());
    const auto end = Clock::now() + limit;
    auto interval = std::chrono::milliseconds(500);
    auto nextQuery = Clock::now();
    while (Clock::now() < end && !enough(records.sources())) {
        if (Clock::now() >= nextQuery) {
            const auto query = dns::write(records.query());
            for (const auto& link : links) {
                sockets.sendToGroup(link, query);
            }
            nextQuery += interval;
            interval *= 2;
        }
        context.restart();
        context.run_for(std::chrono::milliseconds(100));
    }
    return records.sources();
}

}  // namespace monitor
