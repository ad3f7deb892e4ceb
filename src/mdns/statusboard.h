#pragma once
// The status of a published service, set by the publishing thread and read by others.

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <utility>

#include "mdns/announcement.h"

namespace mdns {

/// Any thread reads; one thread at a time sets.
class StatusBoard {
public:
    StatusBoard(std::string instance, std::function<void(const AnnouncementStatus&)> onChange)
        : m_onChange(std::move(onChange)) {
        m_status.instance = std::move(instance);
    }

    /// Calls onChange on this thread when the status differs from the last one.
    void set(const AnnouncementStatus& status) {
        {
            const std::lock_guard lock(m_mutex);
            if (status == m_status) {
                return;
            }
            m_status = status;
        }
        m_changed.notify_all();
        if (m_onChange) {
            m_onChange(status);
        }
    }

    [[nodiscard]] AnnouncementStatus get() const {
        const std::lock_guard lock(m_mutex);
        return m_status;
    }

    /// Returns when the name is announced or found taken, or after `limit`.
    [[nodiscard]] AnnouncementStatus waitSettled(std::chrono::milliseconds limit) const {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, limit, [this] { return m_status.state != AnnounceState::Trying; });
        return m_status;
    }

private:
    const std::function<void(const AnnouncementStatus&)> m_onChange;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    AnnouncementStatus m_status;
};

}  // namespace mdns
