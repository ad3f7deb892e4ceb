#include "mdns/answering.h"

#include <algorithm>

#include "mdns/records.h"

namespace mdns {
namespace {

constexpr std::chrono::milliseconds kMulticastInterval{1000};
constexpr std::chrono::milliseconds kDefenceInterval{250};
constexpr std::size_t kMaxQueued = 64;

}  // namespace

void AnswerQueue::add(const asio::ip::udp::endpoint& from, unsigned records, Time due,
                      Reason reason) {
    const bool probe = reason == Reason::Probe;
    // With a full queue the first answer also takes the records of new queriers.
    const auto same = std::find_if(m_queue.begin(), m_queue.end(), [&](const Answer& answer) {
        return (answer.from == from && answer.probe == probe) || m_queue.size() >= kMaxQueued;
    });
    if (same == m_queue.end()) {
        m_queue.push_back({due, from, records, probe});
    } else {
        same->due =
            reason == Reason::TruncatedQuery ? std::max(same->due, due) : std::min(same->due, due);
        same->records |= records;
    }
}

unsigned AnswerQueue::takeDue(Time now) {
    unsigned ready = 0;
    for (auto& answer : m_queue) {
        if (answer.due > now) {
            continue;
        }
        Time earliest = Time::max();
        for (unsigned bit = 1; bit <= kAllRecords; bit <<= 1U) {
            if ((answer.records & bit) == 0) {
                continue;
            }
            const Time allowed =
                m_lastMulticast[bit] + (answer.probe ? kDefenceInterval : kMulticastInterval);
            if (allowed <= now) {
                ready |= bit;
                answer.records &= ~bit;
            } else {
                earliest = std::min(earliest, allowed);
            }
        }
        answer.due = earliest;
    }
    m_queue.erase(std::remove_if(m_queue.begin(), m_queue.end(),
                                 [](const auto& answer) { return answer.records == 0; }),
                  m_queue.end());
    return ready;
}

Time AnswerQueue::nextDue() const {
    Time due = Time::max();
    for (const auto& answer : m_queue) {
        due = std::min(due, answer.due);
    }
    return due;
}

void AnswerQueue::noteMulticast(unsigned records, Time now) {
    for (unsigned bit = 1; bit <= kAllRecords; bit <<= 1U) {
        if ((records & bit) != 0) {
            m_lastMulticast[bit] = now;
        }
    }
}

Time AnswerQueue::lastMulticast(unsigned record) const {
    const auto found = m_lastMulticast.find(record);
    return found == m_lastMulticast.end() ? Time() : found->second;
}

}  // namespace mdns
