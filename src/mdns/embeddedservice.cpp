#include "mdns/embeddedservice.h"

#include <algorithm>
#include <utility>

#include "support/log.h"

namespace mdns {
namespace {

constexpr std::chrono::seconds kFirstRetry{2};
constexpr std::chrono::seconds kLastRetry{6};
/// A link that has worked for this long has recovered: its next failure is a new one.
constexpr std::chrono::minutes kRecovered{1};

ServiceInfo named(ServiceInfo service, const std::string& instance) {
    service.instance = instance;
    return service;
}

bool contains(const std::vector<Link>& links, const Link& link) {
    return std::find(links.begin(), links.end(), link) != links.end();
}

}  // namespace

EmbeddedService::EmbeddedService(ServiceInfo service, InstanceNames& names, Network& network,
                                 OnStatus onStatus, std::uint32_t randomSeed)
    : m_names(names),
      m_network(network),
      m_onStatus(std::move(onStatus)),
      m_responder(named(std::move(service), names.current()), randomSeed) {}

// --- links -----------------------------------------------------------------------------------

void EmbeddedService::updateInterfaces(Time now, std::chrono::system_clock::time_point wallClock) {
    const bool jumped = m_clockWatch.jumped(now, wallClock);
    auto interfaces = m_network.interfaces();
    auto open = m_network.open(interfaces);
    for (auto each = m_failures.begin(); each != m_failures.end();) {
        const bool over = !contains(open, each->first) ||
                          (each->second.working && now - each->second.retry > kRecovered);
        each = over ? m_failures.erase(each) : std::next(each);
    }
    const bool changed = interfaces != m_interfaces;
    m_interfaces = std::move(interfaces);
    m_open = std::move(open);
    const auto before = m_used;
    m_used.clear();
    for (const auto& link : m_open) {
        const auto failure = m_failures.find(link);
        if (failure == m_failures.end() || failure->second.working ||
            failure->second.retry <= now) {
            m_used.push_back(link);
        }
    }
    if (changed || m_used != before) {
        m_responder.setLinks(m_interfaces, m_used, now);
        logLinks();
    }
    if (jumped) {
        HV_INFO("the clock jumped, or the machine was asleep: announcing \"{}\" again",
                m_names.current());
        m_responder.startOver(now);
    }
    advance(now);
}

bool EmbeddedService::failing(const Link& link) const {
    const auto failure = m_failures.find(link);
    return failure != m_failures.end() && !failure->second.working;
}

void EmbeddedService::sendingFailed(const Link& link, Time now) {
    auto& failure = m_failures[link];
    failure.delay = std::clamp(failure.delay * 2, kFirstRetry, kLastRetry);
    failure.retry = now + failure.delay;
    failure.working = false;
    m_used.erase(std::remove(m_used.begin(), m_used.end(), link), m_used.end());
    m_responder.setLinks(m_interfaces, m_used, now);
}

void EmbeddedService::sendingSucceeded(const Link& link, Time now) {
    const auto failure = m_failures.find(link);
    if (failure != m_failures.end() && !failure->second.working) {
        failure->second.working = true;
        failure->second.retry = now;
    }
}

// --- the protocol ----------------------------------------------------------------------------

void EmbeddedService::receive(const Link& link, const asio::ip::udp::endpoint& from,
                              const std::uint8_t* bytes, std::size_t size, Time now) {
    m_responder.receive(link, from, bytes, size, now);
    advance(now);
}

void EmbeddedService::advance(Time now) {
    m_responder.advance(now);
    sendOutgoing(now);
    renameIfLost(now);
    reportStatus();
}

void EmbeddedService::sendOutgoing(Time now) {
    for (const auto& each : m_responder.takeOutgoing()) {
        if (!contains(m_used, each.link)) {
            continue;
        }
        const bool sent = m_network.send(each);
        if (each.to) {
            continue;  // A host that can't be reached says nothing about the link.
        }
        if (sent) {
            sendingSucceeded(each.link, now);
        } else {
            sendingFailed(each.link, now);
        }
    }
}

void EmbeddedService::renameIfLost(Time now) {
    if (m_responder.state() != Responder::State::NameTaken) {
        return;
    }
    const std::string lost = m_names.current();
    if (!m_names.takeNext()) {
        return;
    }
    if (const auto more = m_statusLog.allows()) {
        HV_WARN("\"{}\" is published by {}: the service is announced as \"{}\" from now on{}", lost,
                m_responder.nameTakenBy(), m_names.current(), *more);
    }
    m_responder.rename(m_names.current(), now);
    sendOutgoing(now);
}

void EmbeddedService::sayGoodbye() {
    m_responder.sayGoodbye();
    for (const auto& each : m_responder.takeOutgoing()) {
        m_network.send(each);
    }
}

// --- reporting -------------------------------------------------------------------------------

AnnouncementStatus EmbeddedService::status() const {
    const std::string& instance = m_names.current();
    const bool allFailing =
        !m_open.empty() &&
        std::all_of(m_open.begin(), m_open.end(), [&](const auto& link) { return failing(link); });
    switch (m_responder.state()) {
        case Responder::State::Established:
            return {AnnounceState::Established, instance, {}};
        case Responder::State::NameTaken:
            return {AnnounceState::NameTaken, instance,
                    fmt::format("{} publishes \"{}\"", m_responder.nameTakenBy(), instance)};
        case Responder::State::Probing:
            if (!allFailing) {
                return {AnnounceState::Trying, instance,
                        fmt::format("still probing for \"{}\"", instance)};
            }
            break;
        case Responder::State::NoLink:
            break;
    }
    const std::string error = m_network.lastError();
    return {AnnounceState::Trying, instance,
            m_interfaces.empty() || error.empty()
                ? "no network interface is up and supports multicast"
                : error};
}

void EmbeddedService::reportStatus() {
    const auto now = status();
    if (now == m_reported) {
        return;
    }
    m_reported = now;
    const std::string as =
        fmt::format("\"{}\" is announced by the embedded multicast DNS responder as {}.local",
                    now.instance, m_responder.hostName());
    if (now.state == AnnounceState::Established && as != m_loggedAs) {
        if (const auto more = m_statusLog.allows()) {
            m_loggedAs = as;
            HV_INFO("{}{}", as, *more);
        }
    }
    m_onStatus(now);
}

/// Links where sending fails are left out, so that their retries change nothing.
void EmbeddedService::logLinks() {
    std::string text;
    for (const auto& link : m_open) {
        if (failing(link)) {
            continue;
        }
        const auto on =
            std::find_if(m_interfaces.begin(), m_interfaces.end(),
                         [&](const auto& each) { return each.index == link.interfaceIndex; });
        text += (text.empty() ? "" : ", ") + on->name + (link.v6 ? " (IPv6)" : " (IPv4)");
    }
    if (text != m_loggedLinks) {
        m_loggedLinks = text;
        HV_INFO("multicast DNS for \"{}\" on {}", m_names.current(),
                text.empty() ? "no network interface" : text);
    }
}

}  // namespace mdns
