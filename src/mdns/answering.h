#pragma once
// Multicast answers on one link (RFC 6762, sections 6 and 7): delayed, merged, thinned out by known
// answers, and limited in rate. Free of I/O; time is passed in; one thread at a time.

#include <asio/ip/udp.hpp>
#include <map>
#include <vector>

#include "mdns/probing.h"

namespace mdns {

/// Sets of records are bits of RecordBit.
class AnswerQueue {
public:
    enum class Reason {
        Query,
        TruncatedQuery,  ///< More known answers follow in further messages.
        Probe,           ///< The answer defends our name.
    };

    /// Queues `records` for the querier `from`, to be multicast at `due`.
    void add(const asio::ip::udp::endpoint& from, unsigned records, Time due, Reason reason);

    /// Replaces the records queued for `from` by those that `stillUnknown` leaves of them.
    template <typename StillUnknown>
    void suppress(const asio::ip::udp::endpoint& from, StillUnknown stillUnknown) {
        for (auto& answer : m_queue) {
            if (answer.from == from) {
                answer.records = stillUnknown(answer.records);
            }
        }
    }

    void clear() { m_queue.clear(); }

    /// The records to multicast at `now`. One that was multicast less than a second ago, or less
    /// than 250 ms before the defence against a probe, stays queued until that time is over.
    [[nodiscard]] unsigned takeDue(Time now);

    /// When takeDue() has records next; Time::max() when nothing is queued.
    [[nodiscard]] Time nextDue() const;

    /// The records were multicast, as an answer or as an announcement.
    void noteMulticast(unsigned records, Time now);

    /// When one record, a single bit, was multicast last.
    [[nodiscard]] Time lastMulticast(unsigned record) const;

private:
    struct Answer {
        Time due;
        asio::ip::udp::endpoint from;
        unsigned records = 0;
        bool probe = false;
    };

    std::vector<Answer> m_queue;
    std::map<unsigned, Time> m_lastMulticast;  ///< By bit.
};

}  // namespace mdns
