#pragma once
// Announces a source and follows what becomes of the announcement.

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "mdns/announcement.h"

namespace ndi {

/// The names that a source may take: the base name, then the base name with a number behind it.
struct NameSequence {
    std::string base;     ///< UTF-8.
    unsigned number = 0;  ///< 0: the base name itself.

    [[nodiscard]] std::string name() const {
        return number == 0 ? base : base + std::to_string(number);
    }
    /// "MACHINE (name)", cut to fit a label.
    [[nodiscard]] std::string instance() const;
};

/// Any thread.
class Announcer {
public:
    using Announce = std::function<mdns::AnnounceOutcome(const std::string&, std::uint16_t,
                                                         const mdns::AnnounceOptions&)>;

    /// `onChange` is called after every change of status(), on a thread of the announcement's. It
    /// must not block. Not called after close(). `interfaces` as in mdns::AnnounceOptions.
    Announcer(NameSequence names, std::vector<std::string> interfaces,
              std::function<void()> onChange);
    Announcer(const Announcer&) = delete;
    Announcer& operator=(const Announcer&) = delete;

    /// Announces the first name for `port`; once. When another host or program turns out to have
    /// the same name later (two networks joined, a cloned machine), the announcement takes the next
    /// numbered one. Blocks for about three seconds at most. False: the name is taken; the log says
    /// so.
    [[nodiscard]] bool start(const Announce& announce, std::uint16_t port);

    /// Withdraws the announcement.
    void close() { m_announcement.reset(); }

    [[nodiscard]] mdns::AnnouncementStatus status() const;
    [[nodiscard]] std::string instance() const { return status().instance; }

private:
    void follow(const mdns::AnnouncementStatus& status);

    const NameSequence m_names;
    const std::vector<std::string> m_interfaces;
    const std::function<void()> m_onChange;
    std::unique_ptr<mdns::Announcement> m_announcement;

    mutable std::mutex m_mutex;
    mdns::AnnouncementStatus m_status;
    bool m_reported = false;  ///< m_status comes from the announcement itself.
};

}  // namespace ndi
