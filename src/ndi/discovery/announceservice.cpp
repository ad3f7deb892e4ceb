#include <chrono>
#include <utility>

#include "ndi/discovery/instancename.h"
#include "ndi/discovery/publishing.h"
#include "ndi/output/discovery.h"

namespace ndi {

AnnounceOutcome announceService(const std::string& instance, std::uint16_t port) {
    constexpr std::chrono::seconds kLimit{3};
    AnnounceOutcome outcome;
    outcome.reason = mdns::whyNotAnInstance(instance);
    if (!outcome.reason.empty()) {
        return outcome;
    }
    auto publishing = mdns::startPublishing(instance, port);
    auto status = publishing->status().waitSettled(kLimit);
    outcome.reason = std::move(status.reason);
    switch (status.state) {
        case mdns::PublishState::Established:
            outcome.result = AnnounceResult::Established;
            outcome.announcement = std::move(publishing);
            break;
        case mdns::PublishState::NameTaken:
            outcome.result = AnnounceResult::NameTaken;
            break;
        case mdns::PublishState::Trying:
            outcome.announcement = std::move(publishing);
            break;
    }
    return outcome;
}

}  // namespace ndi
