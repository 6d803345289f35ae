#include "kel_cpp/rpc/ServerTasks.hpp"

#include <atomic>
#include <condition_variable>
#include <limits>
#include <utility>

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>

#include "kel_cpp/rpc/RpcError.hpp"
#include "platform/DetachedThread.hpp"

namespace Quarlen::Kel_cpp {

struct ServerTasks::Start {
    WaitingStart what;
    Task run;
    Task drop;
};

/// Whether a start runs, and which cancels do. It outlives tasks that one of them destroys.
class ServerTasks::RunningStart {
public:
    void beginCancel() { changeCancels(+1); }
    void endCancel() { changeCancels(-1); }
    /// A cancel that has not ended yet takes away the project of whatever runs: the next start must
    /// not run into it.
    void waitForCancels() {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return cancels == 0 || isStopped; });
    }
    /// Nothing waits any more: it may be a cancel that stops the tasks.
    void stop() {
        const std::lock_guard lock(mutex);
        isStopped = true;
        changed.notify_all();
    }

    void begin() { set(true); }
    void end() { set(false); }
    [[nodiscard]] bool isThere() const {
        const std::lock_guard lock(mutex);
        return runs;
    }
    void waitForEnd(std::chrono::milliseconds time) {
        std::unique_lock lock(mutex);
        changed.wait_for(lock, time, [this] { return !runs; });
    }

private:
    void changeCancels(int difference) {
        const std::lock_guard lock(mutex);
        cancels += difference;
        changed.notify_all();
    }
    void set(bool value) {
        const std::lock_guard lock(mutex);
        runs = value;
        changed.notify_all();
    }

    mutable std::mutex mutex;
    std::condition_variable changed;
    bool runs = false;
    int cancels = 0;
    bool isStopped = false;
};

/// Some threads with a bounded number of tasks.
class ServerTasks::Lane {
public:
    Lane(std::size_t threads, std::size_t maxTasks, const char* refusal)
        : pool(std::make_unique<boost::asio::thread_pool>(threads)),
          maxTasks(maxTasks),
          refusal(refusal) {}
    Lane(const Lane&) = delete;
    Lane& operator=(const Lane&) = delete;
    ~Lane() { stop(); }

    void post(Task task) {
        if (++*tasks > maxTasks) {
            --*tasks;
            throw RpcError(RpcErrorCode::Busy, refusal);
        }
        boost::asio::post(*pool, [task = std::move(task), count = tasks] {
            task();
            --*count;
        });
    }

    [[nodiscard]] bool isThisThread() const {
        return pool && pool->get_executor().running_in_this_thread();
    }

    /// A thread cannot wait for its own end, so a pool that is stopped by one of its tasks ends
    /// after it.
    void stop() {
        if (!pool) {
            return;
        }
        pool->stop();
        if (isThisThread()) {
            Platform::startDetachedThread([rest = std::shared_ptr<boost::asio::thread_pool>(
                                               std::move(pool))] { rest->join(); });
            return;
        }
        pool->join();
        pool.reset();
    }

private:
    std::unique_ptr<boost::asio::thread_pool> pool;
    const std::size_t maxTasks;
    const char* const refusal;
    std::shared_ptr<std::atomic<std::size_t>> tasks = std::make_shared<std::atomic<std::size_t>>(0);
};

ServerTasks::ServerTasks()
    : running(std::make_shared<RunningStart>()),
      // The list of the starts is what bounds this lane.
      startLane(std::make_unique<Lane>(1, std::numeric_limits<std::size_t>::max(), "")),
      cancelLane(std::make_unique<Lane>(4, maxCancels, "too many cancels wait")),
      queryLane(std::make_unique<Lane>(2, maxQueries, "too many requests wait")) {}

ServerTasks::~ServerTasks() {
    stop();
}

void ServerTasks::start(const WaitingStart& what, Task run, Task drop, bool waits) {
    const std::lock_guard lock(mutex);
    if (stopped) {
        throw RpcError(RpcErrorCode::NotPossible, "the server stops");
    }
    // One more than may wait: the one that runs, or is about to.
    const std::size_t room = maxWaitingStarts + (waits ? 0 : 1);
    if (starts.size() + (running->isThere() ? 1 : 0) >= room) {
        throw RpcError(RpcErrorCode::Busy, "too many sequences wait");
    }
    starts.push_back({what, std::move(run), std::move(drop)});
    startLane->post([this] { runNextStart(); });
}

void ServerTasks::runNextStart() {
    Task run;
    // The start may destroy what this belongs to.
    const auto own = running;
    own->waitForCancels();
    {
        const std::lock_guard lock(mutex);
        if (starts.empty()) {
            return;
        }
        run = std::move(starts.front().run);
        latestStart = std::move(starts.front().what);
        starts.pop_front();
        own->begin();
    }
    run();
    own->end();
}

void ServerTasks::endRunningStart(const Task& cancel) {
    constexpr std::chrono::milliseconds timeToEnd{500};
    while (running->isThere() && !startLane->isThisThread()) {
        cancel();
        running->waitForEnd(timeToEnd);
    }
}

void ServerTasks::cancel(Task run) {
    const std::lock_guard lock(mutex);
    if (stopped) {
        throw RpcError(RpcErrorCode::NotPossible, "the server stops");
    }
    running->beginCancel();
    try {
        cancelLane->post([run = std::move(run), own = running] {
            run();
            own->endCancel();
        });
    } catch (...) {
        running->endCancel();
        throw;
    }
}

void ServerTasks::query(Task run) {
    const std::lock_guard lock(mutex);
    if (stopped) {
        throw RpcError(RpcErrorCode::NotPossible, "the server stops");
    }
    queryLane->post(std::move(run));
}

std::vector<WaitingStart> ServerTasks::waitingStarts() const {
    const std::lock_guard lock(mutex);
    std::vector<WaitingStart> waiting;
    for (const Start& start : starts) {
        waiting.push_back(start.what);
    }
    return waiting;
}

std::optional<WaitingStart> ServerTasks::latestTakenStart() const {
    const std::lock_guard lock(mutex);
    return latestStart;
}

void ServerTasks::refuse() {
    std::list<Start> dropped;
    {
        const std::lock_guard lock(mutex);
        stopped = true;
        dropped.swap(starts);
    }
    running->stop();
    for (const Start& start : dropped) {
        start.drop();
    }
}

void ServerTasks::stop() {
    refuse();
    startLane->stop();
    cancelLane->stop();
    queryLane->stop();
}

} // namespace Quarlen::Kel_cpp
