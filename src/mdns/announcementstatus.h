#pragma once
// What a published service reports about itself, and what is asked of it.

#include <functional>
#include <string>
#include <vector>

namespace mdns {

enum class AnnounceState {
    Probing,    ///< Not announced yet, or not any more; tried again. The reason says why.
    Announced,  ///< Visible under its name.
    NameLost,   ///< Another host or program has the name; this service is not visible.
    Failed,     ///< Not announced, and not tried again. The reason says why.
};

struct AnnouncementStatus {
    AnnounceState state = AnnounceState::Announced;
    std::string name;    ///< The service's instance name.
    std::string reason;  ///< Empty while announced.
};

struct AnnounceSettings {
    /// The names or addresses of the network interfaces to announce on; empty: all of them.
    std::vector<std::string> interfaces;
    /// Called after every change of Announcement::status(), on a thread of the announcement's own,
    /// and never after its destruction. Must neither block nor destroy the announcement. May be
    /// empty.
    std::function<void()> onChange;
};

}  // namespace mdns
