#pragma once
// A service that is published by the means of the platform.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "mdns/announcement.h"
#include "mdns/publishstatus.h"

namespace mdns {

class Publishing : public Announcement {
public:
    Publishing(std::string instance, std::function<void()> onChange)
        : m_status(std::move(onChange)), m_announced(std::move(instance)) {}

    [[nodiscard]] const PublishStatusBoard& board() const { return m_status; }

    [[nodiscard]] AnnouncementStatus status() const override {
        const PublishStatus now = m_status.get();
        const AnnounceState state = now.state == PublishState::Established
                                        ? AnnounceState::Announced
                                    : now.state == PublishState::NameTaken ? AnnounceState::NameLost
                                                                           : AnnounceState::Probing;
        return {state, m_announced, now.reason};
    }

protected:
    PublishStatusBoard m_status;

private:
    const std::string m_announced;
};

/// Starts publishing and returns at once. Implemented in avahi/ (the daemon when one runs, else
/// the embedded responder) and in windows/ (the embedded responder).
[[nodiscard]] std::unique_ptr<Publishing> startPublishing(const std::string& instance,
                                                          std::uint16_t port,
                                                          const AnnounceSettings& settings);

}  // namespace mdns
