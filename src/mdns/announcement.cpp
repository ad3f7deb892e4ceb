#include "mdns/announcement.h"

#include <fmt/format.h>

#include <chrono>
#include <utility>

#include "mdns/publishing.h"
#include "support/utf8.h"

namespace mdns {
namespace {

/// Bytes in a DNS label (RFC 1035).
constexpr std::size_t kMaxInstanceName = 63;

/// Why `instance` can't be the name of a service; "" when it can.
std::string instanceNameError(const std::string& instance) {
    if (instance.empty()) {
        return "the name of the service is empty";
    }
    if (instance.size() > kMaxInstanceName) {
        return fmt::format("the name \"{}\" has {} bytes; a service name may have {}", instance,
                           instance.size(), kMaxInstanceName);
    }
    if (support::cleanUtf8(instance) != instance) {
        return "the name of the service is not UTF-8 or has control characters";
    }
    return {};
}

}  // namespace

AnnounceOutcome announceService(const std::string& instance, std::uint16_t port,
                                const AnnounceSettings& settings) {
    constexpr std::chrono::seconds kLimit{3};
    AnnounceOutcome outcome;
    outcome.reason = instanceNameError(instance);
    if (!outcome.reason.empty()) {
        return outcome;
    }
    auto publishing = startPublishing(instance, port, settings);
    auto status = publishing->board().waitSettled(kLimit);
    outcome.reason = std::move(status.reason);
    switch (status.state) {
        case PublishState::Established:
            outcome.result = AnnounceResult::Established;
            outcome.announcement = std::move(publishing);
            break;
        case PublishState::NameTaken:
            outcome.result = AnnounceResult::NameTaken;
            break;
        case PublishState::Trying:
            outcome.announcement = std::move(publishing);
            break;
    }
    return outcome;
}

}  // namespace mdns
