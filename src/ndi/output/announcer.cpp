#include "ndi/output/announcer.h"

#include <utility>

#include "ndi/wire/sourcename.h"
#include "support/log.h"

namespace ndi {

using mdns::AnnounceResult;

std::string NameSequence::instance() const {
    return wire::instanceName(wire::machineName(), name());
}

Announcer::Announcer(NameSequence names, std::vector<std::string> interfaces,
                     std::function<void()> onChange)
    : m_names(std::move(names)),
      m_interfaces(std::move(interfaces)),
      m_onChange(std::move(onChange)) {
    m_status.instance = m_names.instance();
}

bool Announcer::start(const Announce& announce, std::uint16_t port) {
    const std::string name = m_names.instance();
    mdns::AnnounceOptions options;
    options.interfaces = m_interfaces;
    options.numberedName = [this](unsigned number) {
        return NameSequence{m_names.base, m_names.number + number}.instance();
    };
    options.onChange = [this](const mdns::AnnouncementStatus& status) { follow(status); };
    mdns::AnnounceOutcome outcome = announce(name, port, options);
    if (outcome.result == AnnounceResult::NameTaken) {
        HV_WARN("source {} not created: the name is in use on the network{}{}", name,
                outcome.reason.empty() ? "" : ": ", outcome.reason);
        return false;
    }
    const bool announced = outcome.result == AnnounceResult::Established;
    if (announced) {
        HV_INFO("source {} is on the network, port {}", name, port);
    } else {
        HV_WARN("source {} is not announced, receivers can connect by address only, port {}: {}",
                name, port, outcome.reason);
    }
    m_announcement = std::move(outcome.announcement);
    const std::lock_guard lock(m_mutex);
    if (!m_reported) {
        m_status.state = announced ? mdns::AnnounceState::Established : mdns::AnnounceState::Trying;
        m_status.reason = std::move(outcome.reason);
    }
    return true;
}

mdns::AnnouncementStatus Announcer::status() const {
    const std::lock_guard lock(m_mutex);
    return m_status;
}

void Announcer::follow(const mdns::AnnouncementStatus& status) {
    std::string before;
    {
        const std::lock_guard lock(m_mutex);
        before = std::exchange(m_status, status).instance;
        m_reported = true;
    }
    if (before != status.instance) {
        HV_WARN("source {} has lost its name to another host or program; it is called {} now",
                before, status.instance);
    }
    m_onChange();
}

}  // namespace ndi
