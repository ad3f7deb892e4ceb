#pragma once
// A service that is published by the means of the platform.

#include <cstdint>
#include <memory>
#include <string>

#include "mdns/announcement.h"
#include "mdns/publishstatus.h"

namespace mdns {

class Publishing : public Announcement {
public:
    [[nodiscard]] const PublishStatusBoard& status() const { return m_status; }

protected:
    PublishStatusBoard m_status;
};

/// Starts publishing and returns at once. Implemented in avahi/ (the daemon when one runs, else
/// the embedded responder) and in windows/ (the embedded responder).
[[nodiscard]] std::unique_ptr<Publishing> startPublishing(const std::string& instance,
                                                          std::uint16_t port);

}  // namespace mdns
