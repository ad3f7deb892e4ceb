#include "speedhq/workerpool.h"

#include <algorithm>

#include "speedhq/cores.h"

namespace speedhq {

int defaultThreads() {
    return std::clamp(physicalCores() - 1, 1, 4);
}

WorkerPool::WorkerPool(int threads) {
    for (int thread = 1; thread < threads; ++thread) {
        m_workers.emplace_back([this, thread] { workLoop(thread); });
    }
}

WorkerPool::~WorkerPool() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ending = true;
    }
    m_started.notify_all();
    for (std::thread& worker : m_workers) {
        worker.join();
    }
}

void WorkerPool::run(int items, const Work& work) {
    if (m_workers.empty() || items < 2) {
        for (int item = 0; item < items; ++item) {
            work(item, 0);
        }
        return;
    }
    std::unique_lock<std::mutex> lock(m_mutex);
    m_work = &work;
    m_items = items;
    m_nextItem = 0;
    m_unfinished = items;
    m_started.notify_all();
    takeItems(lock, 0);
    m_finished.wait(lock, [this] { return m_unfinished == 0; });
}

void WorkerPool::workLoop(int thread) {
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_started.wait(lock, [this] { return m_ending || m_nextItem < m_items; });
        if (m_ending) {
            return;
        }
        takeItems(lock, thread);
    }
}

void WorkerPool::takeItems(std::unique_lock<std::mutex>& lock, int thread) {
    while (m_nextItem < m_items) {
        const int item = m_nextItem++;
        const Work& work = *m_work;
        lock.unlock();
        work(item, thread);
        lock.lock();
        if (--m_unfinished == 0) {
            m_finished.notify_one();
        }
    }
}

}  // namespace speedhq
