#include "mdns/announcement.h"

#include <chrono>
#include <utility>

#include "mdns/names.h"
#include "mdns/publishing.h"

namespace mdns {

AnnounceOutcome announceService(const std::string& instance, std::uint16_t port,
                                const AnnounceOptions& options) {
    constexpr std::chrono::seconds kLimit{3};
    AnnounceOutcome outcome;
    outcome.reason = instanceNameError(instance);
    if (!outcome.reason.empty()) {
        return outcome;
    }
    auto publishing = startPublishing(instance, port, options);
    auto status = publishing->waitSettled(kLimit);
    outcome.reason = std::move(status.reason);
    switch (status.state) {
        case AnnounceState::Established:
            outcome.result = AnnounceResult::Established;
            publishing->allowRenaming();
            outcome.announcement = std::move(publishing);
            break;
        case AnnounceState::NameTaken:
            outcome.result = AnnounceResult::NameTaken;
            break;
        case AnnounceState::Trying:
            publishing->allowRenaming();
            outcome.announcement = std::move(publishing);
            break;
    }
    return outcome;
}

}  // namespace mdns
