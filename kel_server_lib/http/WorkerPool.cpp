#include "kel_server_lib/http/WorkerPool.hpp"

#include <system_error>
#include <utility>

namespace Quarlen::Rest {

namespace {

void joinAll(std::list<std::thread>& workers) {
    for (std::thread& worker : workers) {
        worker.join();
    }
}

} // namespace

WorkerPool::WorkerPool(WorkerLimits limits) : limits(limits) {}

WorkerPool::~WorkerPool() {
    shutdown();
}

bool WorkerPool::enqueue(std::function<void()> task) {
    joinEnded();
    {
        const std::lock_guard lock(mutex);
        if (stopping) {
            return false;
        }
        // An idle worker that has been woken but has not run yet still counts as idle, and so do
        // the tasks that are meant for it.
        const bool oneMoreWanted = idleWorkers <= tasks.size() + limits.spareWorkers;
        if (oneMoreWanted && !startWorker() && idleWorkers <= tasks.size()) {
            return false;
        }
        tasks.push(std::move(task));
    }
    // Notified without the lock: the woken worker would find it taken and sleep again.
    wakeUp.notify_one();
    return true;
}

bool WorkerPool::enqueueForNextFree(std::function<void()> task) {
    {
        const std::lock_guard lock(mutex);
        if (stopping) {
            return false;
        }
        tasks.push(std::move(task));
    }
    wakeUp.notify_one();
    return true;
}

bool WorkerPool::startWorker() {
    if (workers.size() >= limits.maxWorkers) {
        return false;
    }
    const auto self = workers.emplace(workers.end());
    try {
        *self = std::thread([this, self] { work(self); });
    } catch (const std::system_error&) {
        workers.erase(self);
        return false;
    }
    // The new worker takes a task before it idles, which counts the same as idling now.
    ++idleWorkers;
    return true;
}

void WorkerPool::work(Workers::iterator self) {
    std::unique_lock lock(mutex);
    for (;;) {
        wakeUp.wait_for(lock, limits.idleTime, [this] { return stopping || !tasks.empty(); });
        --idleWorkers;
        if (tasks.empty()) {
            break;
        }
        std::function<void()> task = std::move(tasks.front());
        tasks.pop();
        lock.unlock();
        task();
        task = nullptr;
        lock.lock();
        ++idleWorkers;
    }
    // A worker that exits joins those that exited earlier, so that the stacks of an idle pool are
    // freed.
    Workers before;
    before.swap(ended);
    ended.splice(ended.end(), workers, self);
    if (workers.empty()) {
        allEnded.notify_all();
    }
    lock.unlock();
    joinAll(before);
}

void WorkerPool::joinEnded() {
    Workers toJoin;
    {
        const std::lock_guard lock(mutex);
        toJoin.swap(ended);
    }
    joinAll(toJoin);
}

void WorkerPool::shutdown() {
    {
        std::unique_lock lock(mutex);
        stopping = true;
        wakeUp.notify_all();
        allEnded.wait(lock, [this] { return workers.empty(); });
    }
    joinEnded();
}

std::size_t WorkerPool::workerCount() const {
    const std::lock_guard lock(mutex);
    return workers.size();
}

} // namespace Quarlen::Rest
