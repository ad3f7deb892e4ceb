#include "ndi/output/announcer.h"

#include <chrono>
#include <utility>

#include "ndi/wire/sourcename.h"
#include "support/log.h"

namespace ndi {
namespace {

using mdns::AnnounceResult;
using State = mdns::AnnounceState;

/// So many names are tried without a pause, as NDIlib_send_create()'s callers do.
constexpr int kNamesAtOnce = 16;
constexpr std::chrono::seconds kPauseBetweenRounds(60);

}  // namespace

Announcer::Announcer(Announce announce, NameSequence names, std::vector<std::string> interfaces,
                     std::function<void()> onChange)
    : m_announce(std::move(announce)), m_onChange(std::move(onChange)), m_names(std::move(names)) {
    m_settings.interfaces = std::move(interfaces);
    m_settings.onChange = [this] {
        const std::lock_guard lock(m_mutex);
        m_changed = true;
        m_wake.notify_all();
    };
    m_status.sourceName = m_names.current();
    m_status.announcement = {State::Probing,
                             wire::instanceName(wire::machineName(), m_names.current()), ""};
}

Announcer::~Announcer() {
    close();
}

bool Announcer::start(std::uint16_t port) {
    m_port = port;
    mdns::AnnounceOutcome outcome = attempt();
    const std::string name = status().announcement.name;
    if (outcome.result == AnnounceResult::NameTaken) {
        HV_WARN("source {} not created: the name is in use on the network{}{}", name,
                outcome.reason.empty() ? "" : ": ", outcome.reason);
        return false;
    }
    if (outcome.result == AnnounceResult::Established) {
        HV_INFO("source {} is on the network, port {}", name, port);
    } else {
        HV_WARN("source {} is not announced, receivers can connect by address only, port {}: {}",
                name, port, outcome.reason);
    }
    adopt(std::move(outcome));
    m_thread = std::thread([this] { loop(); });
    return true;
}

void Announcer::close() {
    {
        const std::lock_guard lock(m_mutex);
        m_closing = true;
    }
    m_wake.notify_all();
    if (m_thread.joinable()) {
        m_thread.join();
    }
    m_announcement.reset();
}

Announcer::Status Announcer::status() const {
    const std::lock_guard lock(m_mutex);
    return m_status;
}

void Announcer::loop() {
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_closing || m_changed; });
        if (m_closing) {
            return;
        }
        m_changed = false;
        lock.unlock();
        try {
            follow();
        } catch (const std::exception& error) {
            retryAfter(error.what());
        }
        lock.lock();
    }
}

/// Takes over what the announcement reports.
void Announcer::follow() {
    if (m_announcement == nullptr) {
        mdns::AnnounceOutcome outcome = attempt();
        if (outcome.result == AnnounceResult::NameTaken) {
            takeNextName(outcome.reason);
        } else {
            adopt(std::move(outcome));
        }
        return;
    }
    mdns::AnnouncementStatus now = m_announcement->status();
    if (now.state == State::NameLost) {
        takeNextName(now.reason);
        return;
    }
    const Status before = status();
    now.name = before.announcement.name;
    unsigned suppressed = 0;
    if (now.state != before.announcement.state && m_stateLog.allows(suppressed)) {
        if (now.state == State::Announced) {
            HV_INFO("source {} is announced now ({} more changes since the last line)", now.name,
                    suppressed);
        } else {
            HV_WARN(
                "source {} is not announced at present: {} ({} more changes since the last "
                "line)",
                now.name, now.reason, suppressed);
        }
    }
    setStatus(std::move(now));
}

/// Out of memory, threads or descriptors: the name is announced again after a pause.
void Announcer::retryAfter(const std::string& error) {
    HV_ERROR("source {}: announcing it failed and is tried again in {} s: {}",
             status().announcement.name, kPauseBetweenRounds.count(), error);
    m_announcement.reset();
    setStatus({State::Probing, status().announcement.name, error});
    pause();
    const std::lock_guard lock(m_mutex);
    m_changed = true;
}

void Announcer::takeNextName(const std::string& reason) {
    const std::string lost = status().announcement.name;
    HV_WARN("source {} has lost its name{}{}; taking the next free one", lost,
            reason.empty() ? "" : ": ", reason);
    m_announcement.reset();
    setStatus({State::NameLost, lost, reason});
    for (int tried = 1; !closing(); ++tried) {
        ++m_names.number;
        mdns::AnnounceOutcome outcome = attempt();
        if (outcome.result != AnnounceResult::NameTaken) {
            adopt(std::move(outcome));
            HV_WARN("source {} is called {} from now on, port {}", lost, status().announcement.name,
                    m_port);
            return;
        }
        if (tried % kNamesAtOnce == 0) {
            setStatus({State::NameLost, lost, "every numbered name tried is in use"});
            HV_ERROR(
                "source {} is not announced: {} numbered names are in use on the network; "
                "trying further ones every {} s",
                lost, tried, kPauseBetweenRounds.count());
            pause();
        }
    }
}

mdns::AnnounceOutcome Announcer::attempt() {
    return m_announce(wire::instanceName(wire::machineName(), m_names.current()), m_port,
                      m_settings);
}

void Announcer::adopt(mdns::AnnounceOutcome outcome) {
    m_announcement = std::move(outcome.announcement);
    const State state = outcome.result == AnnounceResult::Established ? State::Announced
                        : m_announcement != nullptr                   ? State::Probing
                                                                      : State::Failed;
    setStatus({state, wire::instanceName(wire::machineName(), m_names.current()),
               std::move(outcome.reason)});
}

void Announcer::setStatus(mdns::AnnouncementStatus announcement) {
    {
        const std::lock_guard lock(m_mutex);
        if (announcement.state != State::NameLost) {
            m_status.sourceName = m_names.current();
        }
        m_status.announcement = std::move(announcement);
    }
    m_onChange();
}

bool Announcer::closing() const {
    const std::lock_guard lock(m_mutex);
    return m_closing;
}

void Announcer::pause() {
    std::unique_lock lock(m_mutex);
    m_wake.wait_for(lock, kPauseBetweenRounds, [this] { return m_closing; });
}

}  // namespace ndi
