#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

#include "support/ffmpeghandles.h"

/// A bounded ring of frames between one producer and one consumer. Closed at first; while it is
/// closed neither side waits, pushed frames are dropped, and what is inside stays until it is
/// taken or cleared. A full queue holds the producer up instead of dropping anything.
class FrameQueue {
public:
    explicit FrameQueue(std::uint32_t capacity);

    void open();

    /// Wakes whoever waits; nobody waits afterwards.
    void close();

    /// Producer. Waits while the queue is open and full. Frees `frame` when it is closed.
    void push(support::FramePtr frame);

    /// Consumer. Waits while the queue is open and empty. Null: closed and empty.
    [[nodiscard]] support::FramePtr pop();

    /// Frees everything inside. Only while no consumer runs.
    void clear();

private:
    [[nodiscard]] bool isEmpty() const { return m_write == m_read; }
    [[nodiscard]] bool isFull() const { return m_write - m_read >= m_capacity; }
    void setOpen(bool open);

    const std::uint32_t m_capacity;
    std::vector<support::FramePtr> m_buffer;
    // Counters that only grow; the slot of a value is value % capacity.
    std::atomic<std::uint32_t> m_write{0};
    std::atomic<std::uint32_t> m_read{0};
    std::atomic<bool> m_open{false};
    // Whoever takes both takes popMutex first.
    std::mutex m_popMutex;
    std::mutex m_pushMutex;
    std::condition_variable m_notFull;   ///< Waited for under pushMutex.
    std::condition_variable m_notEmpty;  ///< Waited for under popMutex.
};
