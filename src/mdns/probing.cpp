#include "mdns/probing.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace mdns {
namespace {

constexpr int kProbes = 3;
constexpr std::chrono::milliseconds kProbeInterval{250};
constexpr int kAnnouncements = 2;
constexpr std::chrono::seconds kAnnounceInterval{1};

std::vector<std::pair<std::uint32_t, dns::Bytes>> tieBreakKey(
    const std::vector<dns::Record>& records) {
    std::vector<std::pair<std::uint32_t, dns::Bytes>> key;
    key.reserve(records.size());
    for (const auto& record : records) {
        key.emplace_back(std::uint32_t{record.rclass} << 16U | record.type, dns::dataBytes(record));
    }
    std::sort(key.begin(), key.end());
    return key;
}

}  // namespace

void LinkStartup::probeAgain(Time first) {
    m_phase = Phase::Probing;
    m_sent = 0;
    m_next = first;
}

void LinkStartup::announceAgain(Time now) {
    if (m_phase != Phase::Probing) {
        m_phase = Phase::Announcing;
        m_sent = 0;
        m_next = now;
    }
}

LinkStartup::Action LinkStartup::advance(Time now) {
    if (m_phase == Phase::Running || m_next > now) {
        return Action::None;
    }
    if (m_phase == Phase::Probing && m_sent < kProbes) {
        ++m_sent;
        m_next = now + kProbeInterval;
        return Action::Probe;
    }
    if (m_phase == Phase::Probing) {
        m_phase = Phase::Announcing;
        m_sent = 0;
    }
    m_next = now + kAnnounceInterval;
    if (++m_sent == kAnnouncements) {
        m_phase = Phase::Running;
    }
    return Action::Announce;
}

Time LinkStartup::nextDue() const {
    return m_phase == Phase::Running ? Time::max() : m_next;
}

bool losesTieBreak(const std::vector<dns::Record>& ours, const std::vector<dns::Record>& theirs) {
    return tieBreakKey(ours) < tieBreakKey(theirs);
}

}  // namespace mdns
