#pragma once
// The DNS records of one published service (RFC 6763), and which of them a question asks for.
// Free of I/O and of time; one thread at a time.

#include <cstdint>
#include <string>
#include <vector>

#include "mdns/dns.h"
#include "mdns/netinterfaces.h"

namespace mdns {

struct ServiceInfo {
    std::string instance;  ///< One label: 1 to 63 bytes.
    std::string type;      ///< "_ndi._tcp".
    std::uint16_t port = 0;
    std::string host;  ///< One label, as by hostLabel().
};

/// The records of a service, as bits of a set.
enum RecordBit : unsigned {
    kServiceTypePtr = 1,  ///< _services._dns-sd._udp.local to the service type.
    kInstancePtr = 2,     ///< The service type to the instance.
    kSrv = 4,
    kTxt = 8,
    kHostA = 16,
    kHostAaaa = 32,
    kInstanceNsec = 64,  ///< The instance has SRV and TXT records and no others (RFC 6762, 6.1).
    kHostNsec = 128,     ///< The same for the host name and its addresses.
};
inline constexpr unsigned kHostRecords = kHostA | kHostAaaa;
inline constexpr unsigned kNegativeRecords = kInstanceNsec | kHostNsec;
/// The records that are announced.
inline constexpr unsigned kPositiveRecords = 63;
inline constexpr unsigned kAllRecords = kPositiveRecords | kNegativeRecords;
/// A shared record may have several owners on a link; every other one is unique (RFC 6762, 2).
inline constexpr unsigned kSharedRecords = kServiceTypePtr | kInstancePtr;

class ServiceRecords {
public:
    explicit ServiceRecords(ServiceInfo service);

    [[nodiscard]] const ServiceInfo& service() const { return m_service; }
    [[nodiscard]] const dns::Name& instanceName() const { return m_instanceName; }
    [[nodiscard]] const dns::Name& hostName() const { return m_hostName; }
    [[nodiscard]] const std::string& hostLabel() const { return m_hostLabels.front(); }

    void rename(const std::string& instance);

    /// Takes the next host name: "-2", "-3" and so on behind the one given.
    void renameHost();

    /// Those of `which` that exist on the interface, with the interface's addresses.
    [[nodiscard]] std::vector<dns::Record> get(const NetInterface& on, unsigned which) const;

    /// The records that belong into the additional section of an answer with `which`.
    [[nodiscard]] unsigned additionalsFor(const NetInterface& on, unsigned which) const;

    /// The records that the question asks for; an NSEC record when it asks for a type that one of
    /// our unique names does not have.
    [[nodiscard]] unsigned matching(const NetInterface& on, const dns::Question& question) const;

    /// `which` without those that the querier has in its cache by its known answers, with at least
    /// half of their time to live left.
    [[nodiscard]] unsigned withoutKnown(const NetInterface& on, const dns::Message& query,
                                        unsigned which) const;

    /// True when a record of the instance's name, received from another responder, does not
    /// compete with ours. `fromThisHost`: it was sent from an address of this host.
    [[nodiscard]] bool isCompatible(const dns::Record& received, bool fromThisHost) const;

private:
    [[nodiscard]] dns::Record srvTo(const std::string& hostLabel) const;
    [[nodiscard]] dns::Record txt() const;
    [[nodiscard]] dns::Record nsec(const dns::Name& name,
                                   const std::vector<dns::Record>& existing) const;

    ServiceInfo m_service;
    const dns::Name m_typeName;
    const dns::Name m_typeListName;
    dns::Name m_instanceName;
    std::vector<std::string> m_hostLabels;  ///< Those used last, newest first.
    unsigned m_hostNumber = 1;
    dns::Name m_hostName;
};

/// True when `address` is in one of the interface's own networks, or is a link-local address of the
/// interface's link.
[[nodiscard]] bool isOnLink(const NetInterface& on, const asio::ip::address& address);

/// The address without the scope of a link-local one.
[[nodiscard]] asio::ip::address withoutScope(const asio::ip::address& address);

}  // namespace mdns
