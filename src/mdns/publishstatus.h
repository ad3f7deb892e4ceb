#pragma once
// The state of a published service, set by the publishing thread and awaited by another one.

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <utility>

namespace mdns {

enum class PublishState {
    Trying,       ///< Not announced yet; the reason says why, if known.
    Established,  ///< Announced under its name.
    NameTaken,    ///< Another host or program publishes the name; it is tried again.
};

struct PublishStatus {
    PublishState state = PublishState::Trying;
    std::string reason;
};

/// Any thread.
class PublishStatusBoard {
public:
    /// `onChange` is called by set(), on its thread. May be empty.
    explicit PublishStatusBoard(std::function<void()> onChange = {})
        : m_onChange(std::move(onChange)) {}

    void set(PublishState state, const std::string& reason) {
        {
            const std::lock_guard lock(m_mutex);
            m_status = {state, reason};
        }
        m_changed.notify_all();
        if (m_onChange) {
            m_onChange();
        }
    }

    [[nodiscard]] PublishStatus get() const {
        const std::lock_guard lock(m_mutex);
        return m_status;
    }

    /// Returns when the name is announced or found taken, or after `limit`.
    [[nodiscard]] PublishStatus waitSettled(std::chrono::milliseconds limit) const {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, limit, [this] { return m_status.state != PublishState::Trying; });
        return m_status;
    }

private:
    const std::function<void()> m_onChange;
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    PublishStatus m_status;
};

}  // namespace mdns
