#include "mdns/publishing.h"

#include <atomic>
#include <chrono>
#include <exception>
#include <optional>
#include <thread>

#include "mdns/avahi/avahipublisher.h"
#include "mdns/embeddedpublisher.h"
#include "support/log.h"
#include "support/loglimit.h"

namespace mdns {
namespace {

using Clock = std::chrono::steady_clock;

/// A daemon that restarts is back within this time; the embedded responder does not take over.
constexpr std::chrono::seconds kRestartTime{2};
constexpr std::chrono::seconds kPollTime{1};

/// The Avahi daemon publishes while it runs, the embedded responder while it does not. Never both:
/// each would see a conflict with the other one.
class DaemonOrEmbedded : public Publishing {
public:
    DaemonOrEmbedded(const std::string& instance, std::uint16_t port,
                     const AnnounceOptions& options)
        : Publishing(instance, options),
          m_port(port),
          m_avahi(m_names, kServiceType, port, m_interfaces),
          m_thread([this] { run(); }) {}

    ~DaemonOrEmbedded() override {
        m_stop = true;
        m_avahi.wakeUp();
        m_thread.join();
    }

private:
    void run() {
        while (!m_stop) {
            try {
                m_avahi.run(kPollTime);
                if (m_avahi.daemonPresent()) {
                    publishThroughDaemon();
                } else {
                    publishEmbedded();
                }
            } catch (const std::exception& error) {
                startAnew(error);
            }
        }
    }

    void startAnew(const std::exception& error) {
        if (const auto more = m_errorLog.allows()) {
            HV_ERROR("announcing \"{}\" failed: {}; starting again{}", m_status.get().instance,
                     error.what(), *more);
        }
        m_embedded.reset();
        m_avahi.disconnect();
        m_avahi.wait(kPollTime);
    }

    void publishThroughDaemon() {
        m_daemonGoneSince.reset();
        m_daemonSeen = true;
        if (m_embedded) {
            m_embedded->leaveQuietly();
            m_embedded.reset();
            HV_INFO("an Avahi daemon has appeared; it takes over \"{}\"", m_names.current());
        }
        const auto status = m_avahi.publish();
        if (!(status == m_logged)) {
            m_logged = status;
            logDaemon(status);
            m_status.set(status);
        }
    }

    void logDaemon(const AnnouncementStatus& status) const {
        switch (status.state) {
            case AnnounceState::Established:
                HV_INFO("\"{}\" is announced by the Avahi daemon", m_names.current());
                break;
            case AnnounceState::NameTaken:
                HV_WARN("the Avahi daemon refuses the name: {}", status.reason);
                break;
            case AnnounceState::Trying:
                HV_DEBUG("{}", status.reason);
                break;
        }
    }

    void publishEmbedded() {
        if (m_embedded) {
            return;
        }
        const auto now = Clock::now();
        m_daemonGoneSince = m_daemonGoneSince.value_or(now);
        if (m_daemonSeen && now - *m_daemonGoneSince < kRestartTime) {
            return;
        }
        m_logged = {};
        HV_INFO("no Avahi daemon {}: the embedded multicast DNS responder serves \"{}\"",
                m_daemonSeen ? "any more" : "runs", m_names.current());
        m_embedded.emplace(m_names, kServiceType, m_port, m_interfaces,
                           [this](const AnnouncementStatus& status) { m_status.set(status); });
    }

    const std::uint16_t m_port;
    AvahiPublisher m_avahi;
    std::optional<EmbeddedPublisher> m_embedded;
    std::optional<Clock::time_point> m_daemonGoneSince;
    bool m_daemonSeen = false;
    AnnouncementStatus m_logged;
    support::LogLimit m_errorLog;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

}  // namespace

std::unique_ptr<Publishing> startPublishing(const std::string& instance, std::uint16_t port,
                                            const AnnounceOptions& options) {
    return std::make_unique<DaemonOrEmbedded>(instance, port, options);
}

}  // namespace mdns
