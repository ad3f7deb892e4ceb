#include <fmt/format.h>

#include <chrono>
#include <utility>

#include "ndi/discovery/publishing.h"
#include "ndi/output/discovery.h"
#include "ndi/wire/sourcename.h"

namespace ndi {
namespace {

/// "" when it can be a service's name.
std::string whyNotAnInstance(const std::string& instance) {
    if (instance.empty()) {
        return "the name of the service is empty";
    }
    if (instance.size() > wire::kMaxInstanceName) {
        return fmt::format("the name \"{}\" has {} bytes, a service name may have {}", instance,
                           instance.size(), wire::kMaxInstanceName);
    }
    if (wire::cleanUtf8(instance) != instance) {
        return "the name of the service is not UTF-8, or holds control characters";
    }
    return {};
}

}  // namespace

AnnounceOutcome announceService(const std::string& instance, std::uint16_t port) {
    constexpr std::chrono::seconds kLimit{3};
    AnnounceOutcome outcome;
    outcome.reason = whyNotAnInstance(instance);
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
