#include "sender/framequeue.h"

#include <utility>

FrameQueue::FrameQueue(std::uint32_t capacity) : m_capacity(capacity), m_buffer(capacity) {}

void FrameQueue::open() {
    setOpen(true);
}

void FrameQueue::close() {
    setOpen(false);
}

void FrameQueue::setOpen(bool open) {
    {
        // Both mutexes, so that no thread is between its test and its wait.
        const std::lock_guard popLock(m_popMutex);
        const std::lock_guard pushLock(m_pushMutex);
        m_open = open;
    }
    m_notFull.notify_all();
    m_notEmpty.notify_all();
}

void FrameQueue::push(support::FramePtr frame) {
    {
        std::unique_lock lock(m_pushMutex);
        m_notFull.wait(lock, [this] { return !m_open || !isFull(); });
        if (!m_open) {
            return;
        }
        m_buffer[m_write % m_capacity] = std::move(frame);
        ++m_write;
    }
    // After taking popMutex once, the consumer is either before its test or already waiting, so the
    // notification can't be lost.
    { const std::lock_guard lock(m_popMutex); }
    m_notEmpty.notify_all();
}

support::FramePtr FrameQueue::pop() {
    std::unique_lock popLock(m_popMutex);
    m_notEmpty.wait(popLock, [this] { return !m_open || !isEmpty(); });
    const std::lock_guard pushLock(m_pushMutex);
    if (isEmpty()) {
        return nullptr;
    }
    support::FramePtr frame = std::move(m_buffer[m_read % m_capacity]);
    ++m_read;
    m_notFull.notify_all();
    return frame;
}

support::FramePtr FrameQueue::popNewest() {
    support::FramePtr frame = pop();
    while (!isEmpty()) {  // Nobody else takes frames, so pop() does not wait.
        frame = pop();
    }
    return frame;
}

void FrameQueue::clear() {
    const std::lock_guard lock(m_pushMutex);
    for (support::FramePtr& slot : m_buffer) {
        slot.reset();
    }
    m_write = 0;
    m_read = 0;
}
