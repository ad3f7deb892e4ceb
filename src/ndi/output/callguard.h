#pragma once
// Keeps callers out of an object that is closing.

#include <condition_variable>
#include <mutex>

namespace ndi {

/// Counts the calls that are inside an object, so that its end can wait for them. Any thread.
class CallGuard {
public:
    /// One call. False when the guard is already closed; the call must then return.
    class Call {
    public:
        explicit Call(CallGuard& guard) : m_guard(guard), m_inside(guard.enter()) {}
        ~Call() {
            if (m_inside) {
                m_guard.leave();
            }
        }
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;
        explicit operator bool() const { return m_inside; }

    private:
        CallGuard& m_guard;
        const bool m_inside;
    };

    /// Refuses every later call.
    void close() {
        const std::lock_guard lock(m_mutex);
        m_closed = true;
    }

    void waitUntilEmpty() {
        std::unique_lock lock(m_mutex);
        m_left.wait(lock, [this] { return m_inside == 0; });
    }

private:
    [[nodiscard]] bool enter() {
        const std::lock_guard lock(m_mutex);
        m_inside += m_closed ? 0 : 1;
        return !m_closed;
    }

    void leave() {
        const std::lock_guard lock(m_mutex);
        if (--m_inside == 0) {
            m_left.notify_all();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_left;
    int m_inside = 0;
    bool m_closed = false;
};

}  // namespace ndi
