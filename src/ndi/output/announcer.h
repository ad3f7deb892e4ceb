#pragma once
// Keeps a source announced under a name of its own.

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "mdns/announcement.h"
#include "ndi/output/loglimit.h"

namespace ndi {

/// The names that a source may take: the base name, then the base name with a number behind it.
struct NameSequence {
    std::string base;  ///< UTF-8.
    int number = 0;    ///< 0: the base name itself.

    [[nodiscard]] std::string current() const {
        return number == 0 ? base : base + std::to_string(number);
    }
};

/// Announces a source, and takes the next numbered name when another host or program turns out to
/// have the same one (two networks joined, a cloned machine). Any thread.
class Announcer {
public:
    using Announce = std::function<mdns::AnnounceOutcome(const std::string&, std::uint16_t,
                                                         const mdns::AnnounceSettings&)>;

    /// What is known of the announcement.
    struct Status {
        std::string sourceName;
        mdns::AnnouncementStatus announcement;  ///< `name` is "MACHINE (Source name)".
    };

    /// `onChange` is called after every change of status(), on a thread of the announcer's. It must
    /// not block. `interfaces` as in mdns::AnnounceSettings.
    Announcer(Announce announce, NameSequence names, std::vector<std::string> interfaces,
              std::function<void()> onChange);
    /// close()
    ~Announcer();
    Announcer(const Announcer&) = delete;
    Announcer& operator=(const Announcer&) = delete;

    /// Announces the first name for `port`; once. Blocks for about three seconds at most. False:
    /// the name is taken; the log says so.
    [[nodiscard]] bool start(std::uint16_t port);

    /// Withdraws the announcement. Waits for an attempt under another name that is in progress,
    /// about three seconds at most.
    void close();

    [[nodiscard]] Status status() const;

private:
    void loop();
    void follow();
    void takeNextName(const std::string& reason);
    [[nodiscard]] mdns::AnnounceOutcome attempt();
    void adopt(mdns::AnnounceOutcome outcome);
    void setStatus(mdns::AnnouncementStatus announcement);
    void retryAfter(const std::string& error);
    [[nodiscard]] bool closing() const;
    /// Until the next round of attempts, or until close().
    void pause();

    const Announce m_announce;
    const std::function<void()> m_onChange;
    mdns::AnnounceSettings m_settings;
    std::uint16_t m_port = 0;
    LogLimit m_stateLog{5};

    // The announcer's thread, once it runs.
    NameSequence m_names;
    std::unique_ptr<mdns::Announcement> m_announcement;

    mutable std::mutex m_mutex;  ///< Never held while the announcement is called or destroyed.
    std::condition_variable m_wake;
    bool m_closing = false;
    bool m_changed = false;
    Status m_status;
    std::thread m_thread;
};

}  // namespace ndi
