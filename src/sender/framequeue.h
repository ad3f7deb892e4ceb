#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

#include "support/ffmpeghandles.h"

/// A bounded ring of frames between one producer and one consumer. It starts closed. While closed,
/// neither side waits, pushed frames are dropped, and queued frames stay until they are popped or
/// cleared. While open, a full queue blocks the producer and drops nothing.
class FrameQueue {
public:
    explicit FrameQueue(std::uint32_t capacity);

    void open();

    /// Wakes waiting threads; none waits afterwards.
    void close();

    /// Producer. Waits while the queue is open and full. Drops `frame` when it is closed.
    void push(support::FramePtr frame);

    /// Consumer. Waits while the queue is open and empty. Null: closed and empty.
    [[nodiscard]] support::FramePtr pop();

    /// As pop(), but the last queued frame; frees those before it.
    [[nodiscard]] support::FramePtr popNewest();

    /// Frees all queued frames. Only while no consumer runs.
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
    // Lock order: popMutex, then pushMutex.
    std::mutex m_popMutex;
    std::mutex m_pushMutex;
    std::condition_variable m_notFull;   ///< Used with pushMutex.
    std::condition_variable m_notEmpty;  ///< Used with popMutex.
};
