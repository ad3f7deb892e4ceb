#pragma once
// Announces a source on the network: DNS-SD over mDNS (RFC 6762, RFC 6763).

#include <cstdint>
#include <memory>
#include <string>

#include "mdns/announcementstatus.h"

namespace mdns {

/// The service type of NDI sources.
inline constexpr char kServiceType[] = "_ndi._tcp";

/// A published service. Destroying it withdraws the service (goodbye, TTL 0). Until then threads of
/// its own announce it again to a restarted daemon and on changed network interfaces.
class Announcement {
public:
    virtual ~Announcement() = default;

    /// How it stands now. Any thread; waits for nothing.
    [[nodiscard]] virtual AnnouncementStatus status() const { return {}; }
};

enum class AnnounceResult {
    Established,  ///< The name was probed for, is ours, and is announced.
    NameTaken,    ///< Another host or program publishes the name.
    Failed,       ///< Not announced for another reason; `reason` says which.
};

struct AnnounceOutcome {
    AnnounceResult result = AnnounceResult::Failed;
    std::unique_ptr<Announcement> announcement;  ///< Set when established, and when it failed but
                                                 ///< is tried again.
    std::string reason;                          ///< What was tried, on what, why it failed.
};

/// Publishes `instance` (at most 63 bytes of UTF-8) of kServiceType on this host at `port`: through
/// the Avahi daemon when one runs, else through the embedded responder. Blocks until the name is
/// known to be free or taken, at most about three seconds.
[[nodiscard]] AnnounceOutcome announceService(const std::string& instance, std::uint16_t port,
                                              const AnnounceSettings& settings = {});

}  // namespace mdns
