#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "kel_cpp/history/RunRecords.hpp"

namespace Quarlen::Kel_cpp {

/// A start that has not begun yet.
struct WaitingStart {
    std::wstring name;
    std::wstring client;
    SystemTime since;
};

/// Threads for what clients ask for and what takes its time, so that the I/O thread never waits.
/// The starts of sequences run one after the other, as sequences do; cancels and queries have
/// threads of their own, so that a cancel never waits for a start. The next start waits until the
/// cancels that were taken have ended: they end what runs. All are bounded: what is too
/// much is refused with `RpcError` (Busy). Any thread may call an operation.
class ServerTasks {
public:
    static constexpr std::size_t maxWaitingStarts = 16;
    static constexpr std::size_t maxCancels = 16;
    static constexpr std::size_t maxQueries = 64;

    using Task = std::function<void()>;

    ServerTasks();
    ServerTasks(const ServerTasks&) = delete;
    ServerTasks& operator=(const ServerTasks&) = delete;
    /// As `stop`.
    ~ServerTasks();

    /// `drop` runs instead of `run` when the tasks stop before its turn has come. Neither throws.
    /// The start that was taken last `waits` too while a run of somebody else is under way.
    void start(const WaitingStart& what, Task run, Task drop, bool waits = false);
    void cancel(Task run);
    void query(Task run);
    [[nodiscard]] std::vector<WaitingStart> waitingStarts() const;
    /// The start that was taken last; it may have ended.
    [[nodiscard]] std::optional<WaitingStart> latestTakenStart() const;

    /// Drops the starts that wait and refuses further tasks.
    void refuse();
    /// Returns when no start runs. `cancel` is called for one that does, again from time to time: a
    /// start that was taken a moment ago may not have begun what a cancel ends. Does not wait for a
    /// start that calls it.
    void endRunningStart(const Task& cancel);
    /// Drops what waits and returns when what runs has ended; a task that calls it is not waited
    /// for. Refuses further tasks, too.
    void stop();

private:
    class Lane;
    struct Start;
    class RunningStart;

    void runNextStart();

    mutable std::mutex mutex;
    std::list<Start> starts;
    std::optional<WaitingStart> latestStart;
    bool stopped = false;
    const std::shared_ptr<RunningStart> running;
    std::unique_ptr<Lane> startLane;
    std::unique_ptr<Lane> cancelLane;
    std::unique_ptr<Lane> queryLane;
};

} // namespace Quarlen::Kel_cpp
