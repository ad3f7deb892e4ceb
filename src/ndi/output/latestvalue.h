#pragma once
// Hands the newest value from a thread that must not wait to others.

#include <atomic>
#include <memory>
#include <mutex>

namespace ndi {

/// set() takes no lock; get() takes one that only other callers of get() take. Any thread.
template <typename Value>
class LatestValue {
public:
    LatestValue() = default;
    ~LatestValue() { delete m_newest.load(); }
    LatestValue(const LatestValue&) = delete;
    LatestValue& operator=(const LatestValue&) = delete;

    void set(Value value) { delete m_newest.exchange(new Value(std::move(value))); }

    /// The value set last; the default value before the first set().
    [[nodiscard]] Value get() {
        const std::lock_guard lock(m_readers);
        if (Value* const newest = m_newest.exchange(nullptr)) {
            m_current.reset(newest);
        }
        return m_current != nullptr ? *m_current : Value();
    }

private:
    std::atomic<Value*> m_newest{nullptr};  ///< Owned. Null: m_current is the newest.
    std::mutex m_readers;
    std::unique_ptr<Value> m_current;
};

}  // namespace ndi
