#pragma once
// A service that is published by the means of the platform.

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "mdns/announcement.h"
#include "mdns/names.h"
#include "mdns/statusboard.h"

namespace mdns {

class Publishing : public Announcement {
public:
    [[nodiscard]] AnnouncementStatus status() const override { return m_status.get(); }

    /// Returns when the name is announced or found taken, or after `limit`.
    [[nodiscard]] AnnouncementStatus waitSettled(std::chrono::milliseconds limit) const {
        return m_status.waitSettled(limit);
    }

    /// From now on a lost name is replaced.
    void allowRenaming() { m_names.allowRenaming(); }

protected:
    Publishing(const std::string& instance, const AnnounceOptions& options)
        : m_status(instance, options.onChange),
          m_names(instance, options.numberedName),
          m_interfaces(options.interfaces) {}

    StatusBoard m_status;
    InstanceNames m_names;
    const std::vector<std::string> m_interfaces;  ///< As in AnnounceOptions.
};

/// Starts publishing and returns at once. Implemented in avahi/ (the daemon when one runs, else
/// the embedded responder) and in windows/ (the embedded responder).
[[nodiscard]] std::unique_ptr<Publishing> startPublishing(const std::string& instance,
                                                          std::uint16_t port,
                                                          const AnnounceOptions& options);

}  // namespace mdns
