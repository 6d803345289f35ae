#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <list>
#include <mutex>
#include <queue>
#include <thread>

namespace Quarlen::Rest {

struct WorkerLimits {
    /// Each open connection holds one worker.
    std::size_t maxWorkers = 512;
    /// How many workers wait for the next tasks while tasks come, so that a client that reconnects
    /// seldom waits for a thread to start. Many workers that take turns are also a quarter faster
    /// than three for a single client on the same machine: the scheduler tends to keep a worker
    /// that has just run away from the client's processor (measured with scripts/benchmark-rest).
    std::size_t spareWorkers = 32;
    /// A worker that had nothing to do for this time ends.
    std::chrono::milliseconds idleTime{5000};
};

/// Worker threads of the HTTP server. The pool grows with the tasks: a task never waits while the
/// limit allows one more thread; beyond the limit the task is refused, so that the server can make
/// room for it or close the connection instead of leaving it hanging. An idle pool has no threads.
class WorkerPool {
public:
    explicit WorkerPool(WorkerLimits limits = {});
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;
    ~WorkerPool();

    /// False beyond the limit and after `shutdown`.
    bool enqueue(std::function<void()> task);
    /// For a task that a busy worker is about to be free for. False after `shutdown`.
    bool enqueueForNextFree(std::function<void()> task);
    /// Lets the running and the queued tasks end and joins every worker.
    void shutdown();

    [[nodiscard]] std::size_t workerCount() const;

private:
    using Workers = std::list<std::thread>;

    bool startWorker();
    void work(Workers::iterator self);
    void joinEnded();

    const WorkerLimits limits;
    mutable std::mutex mutex;
    std::condition_variable wakeUp;
    std::condition_variable allEnded;
    std::queue<std::function<void()>> tasks;
    Workers workers;
    /// Workers that have left their loop and only wait to be joined.
    Workers ended;
    std::size_t idleWorkers = 0;
    bool stopping = false;
};

} // namespace Quarlen::Rest
