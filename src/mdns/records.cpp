#include "mdns/records.h"

#include <algorithm>
#include <array>
#include <utility>

#include "mdns/hostlabel.h"

namespace mdns {
namespace {

constexpr std::uint32_t kHostTtl = 120;  // Records that name the host or its addresses.
constexpr std::uint32_t kOtherTtl = 4500;

dns::Record makeRecord(dns::Name name, dns::Type type, dns::RecordData data) {
    dns::Record record;
    record.name = std::move(name);
    record.type = type;
    record.cacheFlush = type != dns::kTypePtr;
    record.data = std::move(data);
    record.ttl = type == dns::kTypePtr || type == dns::kTypeTxt ? kOtherTtl : kHostTtl;
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

ServiceRecords::ServiceRecords(ServiceInfo service)
    : m_service(std::move(service)),
      m_typeName(dns::nameFromText(m_service.type + ".local")),
      m_typeListName(dns::nameFromText("_services._dns-sd._udp.local")),
      m_instanceName([this] {
          dns::Name name = m_typeName;
          name.insert(name.begin(), m_service.instance);
          return name;
      }()),
      m_hostLabels{m_service.host},
      m_hostName{m_service.host, "local"} {}

void ServiceRecords::rename(const std::string& instance) {
    m_service.instance = instance;
    m_instanceName.front() = instance;
}

void ServiceRecords::renameHost() {
    constexpr std::size_t kRemembered = 8;
    m_hostLabels.insert(m_hostLabels.begin(), numberedHostLabel(m_service.host, ++m_hostNumber));
    m_hostLabels.resize(std::min(m_hostLabels.size(), kRemembered));
    m_hostName.front() = m_hostLabels.front();
}

std::vector<dns::Record> ServiceRecords::get(const NetInterface& on, unsigned which) const {
    std::vector<dns::Record> found;
    if ((which & kServiceTypePtr) != 0) {
        found.push_back(makeRecord(m_typeListName, dns::kTypePtr, m_typeName));
    }
    if ((which & kInstancePtr) != 0) {
        found.push_back(makeRecord(m_typeName, dns::kTypePtr, m_instanceName));
    }
    if ((which & kSrv) != 0) {
        found.push_back(srvTo(hostLabel()));
    }
    if ((which & kTxt) != 0) {
        found.push_back(txt());
    }
    if ((which & kHostRecords) != 0) {
        for (const auto& address : publishedAddresses(on)) {
            if (address.is_v4() && (which & kHostA) != 0) {
                found.push_back(makeRecord(m_hostName, dns::kTypeA, address.to_v4().to_bytes()));
            } else if (address.is_v6() && (which & kHostAaaa) != 0) {
                found.push_back(makeRecord(m_hostName, dns::kTypeAaaa, address.to_v6().to_bytes()));
            }
        }
    }
    if ((which & kInstanceNsec) != 0) {
        found.push_back(nsec(m_instanceName, {srvTo(hostLabel()), txt()}));
    }
    if ((which & kHostNsec) != 0) {
        found.push_back(nsec(m_hostName, get(on, kHostRecords)));
    }
    return found;
}

unsigned ServiceRecords::additionalsFor(const NetInterface& on, unsigned which) const {
    unsigned additionals = 0;
    if ((which & kInstancePtr) != 0) {
        additionals |= kSrv | kTxt;
    }
    if (((which | additionals) & (kSrv | kHostRecords)) != 0) {
        additionals |= kHostRecords;
        // A querier that learns of a missing address family does not wait for its records.
        if (get(on, kHostA).empty() || get(on, kHostAaaa).empty()) {
            additionals |= kHostNsec;
        }
    }
    return additionals & ~which;
}

unsigned ServiceRecords::matching(const NetInterface& on, const dns::Question& question) const {
    if (question.qclass != dns::kClassIn && question.qclass != dns::kClassAny) {
        return 0;
    }
    unsigned found = 0;
    for (unsigned bit = 1; bit <= kPositiveRecords; bit <<= 1U) {
        for (const auto& record : get(on, bit)) {
            if ((question.type == record.type || question.type == dns::kTypeAny) &&
                dns::sameName(question.name, record.name)) {
                found |= bit;
            }
        }
    }
    if (found == 0 && dns::sameName(question.name, m_instanceName)) {
        return kInstanceNsec;
    }
    return found == 0 && dns::sameName(question.name, m_hostName) ? kHostNsec : found;
}

unsigned ServiceRecords::withoutKnown(const NetInterface& on, const dns::Message& query,
                                      unsigned which) const {
    for (unsigned bit = 1; bit <= kAllRecords; bit <<= 1U) {
        const auto ours = get(on, which & bit);
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

bool ServiceRecords::isCompatible(const dns::Record& received, bool fromThisHost) const {
    if (received.type == dns::kTypeTxt) {
        return dns::sameRecord(received, txt());
    }
    if (received.type != dns::kTypeSrv) {
        return true;  // Other types compete with no record of ours.
    }
    if (dns::sameRecord(received, srvTo(hostLabel()))) {
        return true;
    }
    // Our own datagrams come back, those from before a change of the host name too. From another
    // host the same SRV record means a source of our name at the same port.
    return fromThisHost &&
           std::any_of(m_hostLabels.begin(), m_hostLabels.end(),
                       [&](const auto& label) { return dns::sameRecord(received, srvTo(label)); });
}

dns::Record ServiceRecords::srvTo(const std::string& hostLabel) const {
    dns::Srv srv;
    srv.port = m_service.port;
    srv.target = {hostLabel, "local"};
    return makeRecord(m_instanceName, dns::kTypeSrv, std::move(srv));
}

dns::Record ServiceRecords::txt() const {
    return makeRecord(m_instanceName, dns::kTypeTxt, dns::Bytes{0});  // One empty string.
}

dns::Record ServiceRecords::nsec(const dns::Name& name,
                                 const std::vector<dns::Record>& existing) const {
    // RFC 6762, 6.1: the name itself, and a bit for each type that exists, in one block.
    std::array<std::uint8_t, dns::kTypeSrv / 8 + 1> bits{};
    std::uint8_t used = 0;
    for (const auto& record : existing) {
        const auto at = static_cast<std::uint8_t>(record.type / 8U);
        bits.at(at) = static_cast<std::uint8_t>(bits.at(at) | 0x80U >> record.type % 8U);
        used = std::max<std::uint8_t>(used, static_cast<std::uint8_t>(at + 1));
    }
    dns::Bytes data = dns::dataBytes(makeRecord(name, dns::kTypePtr, name));
    data.insert(data.end(), {0, used});
    data.insert(data.end(), bits.begin(), bits.begin() + used);
    return makeRecord(name, dns::kTypeNsec, std::move(data));
}

bool isOnLink(const NetInterface& on, const asio::ip::address& address) {
    if (address.is_v6() && address.to_v6().is_link_local()) {
        const auto scope = address.to_v6().scope_id();
        return scope == 0 || scope == on.index;
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

asio::ip::address withoutScope(const asio::ip::address& address) {
    return address.is_v4() ? address
                           : asio::ip::address(asio::ip::address_v6(address.to_v6().to_bytes()));
}

}  // namespace mdns
