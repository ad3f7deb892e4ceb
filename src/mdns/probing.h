#pragma once
// Probing and announcing on one link (RFC 6762, section 8): when to send which, and which host goes
// first when two probe for one name at the same time. Free of I/O; time is passed in; one thread at
// a time.

#include <chrono>
#include <vector>

#include "mdns/dns.h"

namespace mdns {

using Time = std::chrono::steady_clock::time_point;

/// Three probes 250 ms apart, then two announcements one second apart.
class LinkStartup {
public:
    enum class Action { None, Probe, Announce };

    explicit LinkStartup(Time first) : m_next(first) {}

    [[nodiscard]] bool probing() const { return m_phase == Phase::Probing; }

    /// True once the first probe was sent; before it there is nothing to compare with another
    /// host's probe.
    [[nodiscard]] bool probeSent() const { return m_sent > 0; }

    /// Starts from the first probe, at `first`.
    void probeAgain(Time first);

    /// Announces again from `now` on; a link that still probes goes on with that.
    void announceAgain(Time now);

    /// What has to be sent at `now`; it counts as sent.
    [[nodiscard]] Action advance(Time now);

    /// When advance() is due next; Time::max() when running.
    [[nodiscard]] Time nextDue() const;

private:
    enum class Phase {
        Probing,     ///< The name may not be used yet.
        Announcing,  ///< The name is ours.
        Running,     ///< The same, and announced.
    };

    Phase m_phase = Phase::Probing;
    int m_sent = 0;  ///< Probes or announcements of this phase.
    Time m_next;
};

/// The tie-break between two hosts that probe at the same time (RFC 6762, 8.2): true when the
/// proposed records `ours` are lexicographically earlier than `theirs`, so that the other host goes
/// first. Equal records are no conflict.
[[nodiscard]] bool losesTieBreak(const std::vector<dns::Record>& ours,
                                 const std::vector<dns::Record>& theirs);

}  // namespace mdns
