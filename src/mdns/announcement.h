#pragma once
// How a source becomes visible on the network: DNS-SD over mDNS (RFC 6762, RFC 6763).

#include <cstdint>
#include <memory>
#include <string>

namespace mdns {

/// The service type of NDI sources.
inline constexpr char kServiceType[] = "_ndi._tcp";

/// A published service. Destroying it withdraws the service (goodbye, TTL 0). It looks after
/// itself meanwhile, on threads of its own: a restarted daemon or a changed network interface
/// is announced to again.
class Announcement {
public:
    virtual ~Announcement() = default;
};

enum class AnnounceResult {
    Established,  ///< Visible: the name was probed and is ours.
    NameTaken,    ///< Somebody else on the network has the name.
    Failed,       ///< Not visible for another reason; `reason` says which.
};

struct AnnounceOutcome {
    AnnounceResult result = AnnounceResult::Failed;
    std::unique_ptr<Announcement> announcement;  ///< Set when established, or still trying.
    std::string reason;                          ///< What was tried, on what, why it failed.
};

/// Publishes `instance` (at most 63 bytes of UTF-8) of kServiceType on this host at `port`: through
/// the Avahi daemon when one runs, else through the embedded responder. Blocks until the name is
/// known to be free or taken, at most about three seconds.
[[nodiscard]] AnnounceOutcome announceService(const std::string& instance, std::uint16_t port);

}  // namespace mdns
