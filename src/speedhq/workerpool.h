#pragma once
// A few worker threads that process the rows of a frame.

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace speedhq {

/// The default number of threads of an encoder, including the caller's: one less than the number of
/// physical cores, at least one, at most four.
[[nodiscard]] int defaultThreads();

/// One caller at a time.
class WorkerPool {
public:
    /// Processes one item, on the thread numbered `thread`.
    using Work = std::function<void(int item, int thread)>;

    /// Starts `threads` - 1 threads; the caller of run() is thread 0.
    explicit WorkerPool(int threads);
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    [[nodiscard]] int threads() const { return static_cast<int>(m_workers.size()) + 1; }

    /// Calls work(item, thread) once for every item of [0, items), on all threads, and returns when
    /// all calls have finished. Their results are visible to the caller. `work` must not throw.
    void run(int items, const Work& work);

private:
    void workLoop(int thread);
    void takeItems(std::unique_lock<std::mutex>& lock, int thread);

    std::vector<std::thread> m_workers;
    std::mutex m_mutex;
    std::condition_variable m_started;
    std::condition_variable m_finished;
    // Guarded by m_mutex.
    const Work* m_work = nullptr;
    int m_items = 0;
    int m_nextItem = 0;
    int m_unfinished = 0;
    bool m_ending = false;
};

}  // namespace speedhq
