#pragma once
// Announces a source on the network: DNS-SD over mDNS (RFC 6762, RFC 6763).

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace mdns {

/// The service type of NDI sources.
inline constexpr char kServiceType[] = "_ndi._tcp";

enum class AnnounceState {
    Trying,       ///< Not announced; the reason says why, if known. It is tried again.
    Established,  ///< Announced under its name.
    NameTaken,    ///< Another host or program publishes the name. It is tried again.
};

struct AnnouncementStatus {
    AnnounceState state = AnnounceState::Trying;
    std::string instance;  ///< The name announced, or the one that is being tried.
    std::string reason;    ///< Why it is not established; "" when it is, or when unknown.

    bool operator==(const AnnouncementStatus& other) const {
        return state == other.state && instance == other.instance && reason == other.reason;
    }
};

/// A published service. Destroying it withdraws the service (goodbye, TTL 0). Until then threads of
/// its own announce it again to a restarted daemon and on changed network interfaces.
class Announcement {
public:
    virtual ~Announcement() = default;

    /// Any thread; does not block.
    [[nodiscard]] virtual AnnouncementStatus status() const = 0;
};

struct AnnounceOptions {
    /// The names or addresses of the network interfaces to announce on; empty: all of them. The
    /// Avahi daemon announces on those that exist when the service is handed to it.
    std::vector<std::string> interfaces;

    /// The name to take after the service lost its name to another host: called with 1, 2, 3 and so
    /// on until a name is free. "" or no function: the service keeps the name it lost, and is not
    /// announced until the name is free again. Not called while announceService() runs: a name that
    /// is taken then is the caller's to replace.
    std::function<std::string(unsigned number)> numberedName;

    /// Called after each change of the status, a change of the name included; the first call may
    /// come before announceService() returns.
    std::function<void(const AnnouncementStatus& status)> onChange;

    // Both are called on threads of the announcement, one call at a time, never after its
    // destructor has returned. They must not block and must not destroy the announcement.
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
/// announced or found taken, at most about three seconds. Any thread.
[[nodiscard]] AnnounceOutcome announceService(const std::string& instance, std::uint16_t port,
                                              const AnnounceOptions& options = {});

}  // namespace mdns
