#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "kel_cpp/history/RunRecords.hpp"

namespace Quarlen::Kel_cpp {

/// The latest runs of sequences: when each began and ended, what came of it, where its report is.
///
/// A sequence does not tell the runtime that it begins or ends, so the log reads it from what the
/// runtime sees. "Running sequence: NAME" begins a run on the thread that sets it. A run that a
/// client asked for ends when the server handler returns (`ClientRun`). Another one ends when its
/// thread has set "Idle" and then nothing more happens for `quietTime` (between two actions an
/// "Idle" is followed at once), or when the next run begins: there is never more than one.
///
/// Any thread may call an operation.
class RunLog {
public:
    static constexpr std::size_t maxRuns = 100;
    /// Status texts and jobs kept of one run; further ones are counted or left out.
    static constexpr std::size_t maxEntriesOfRun = 1000;
    static constexpr std::chrono::milliseconds quietTime{1000};

    using Now = StatusLog::Now;
    using OnEnd = std::function<void(const RunEntry&)>;
    using OnProgress = std::function<void(const JobProgress&)>;

    explicit RunLog(Now now = std::chrono::system_clock::now);

    /// A run on this thread between construction and destruction was asked for by that client.
    class ClientRun {
    public:
        ClientRun(RunLog& log, std::wstring client);
        ClientRun(const ClientRun&) = delete;
        ClientRun& operator=(const ClientRun&) = delete;
        ~ClientRun();
        /// The request ended with this exception.
        void fail(const std::wstring& message);

    private:
        RunLog& log;
    };

    /// Called by the thread that sets the status.
    void statusSet(const StatusEntry& status);
    void jobBegins(std::uint64_t id, JobKind kind, std::wstring name);
    void jobFound(std::uint64_t id, JobItem item);
    void jobProgressed(const JobProgress& progress);
    void jobEnds(std::uint64_t id, JobOutcome outcome, std::wstring summary);
    void reportWritten(std::wstring fileName);

    /// Ends a run that has been quiet for long enough. True when a run may still end this way, so
    /// that the caller asks again later.
    bool settle();

    /// Oldest first; the last one may be running.
    [[nodiscard]] std::vector<RunEntry> latest();
    [[nodiscard]] std::optional<RunEntry> find(std::uint64_t id);
    /// How far the running jobs are.
    [[nodiscard]] std::vector<JobProgress> progress() const;
    /// When a cancel was last asked for.
    [[nodiscard]] std::optional<SystemTime> lastCancel() const;
    /// True when a run that a client asked for waits for the end of another one.
    [[nodiscard]] bool isClientWaiting() const;

    /// Called without a lock, by the thread that ended the run or the job reported on. Only while
    /// no other thread uses the log.
    void onEnd(OnEnd function);
    void onProgress(OnProgress function);

private:
    struct Asked {
        std::thread::id thread;
        std::wstring client;
        bool hasBegun = false;
    };
    /// What of the current run its clients do not see.
    struct Current {
        std::thread::id thread;
        bool ofClient = false;
        bool cancelled = false;
        /// When the thread of the run set "Idle", unless something has happened since.
        std::optional<SystemTime> idleSince;
    };
    using Ended = std::optional<RunEntry>;

    RunEntry* running();
    JobEntry* findJob(std::uint64_t id);
    void begin(const StatusEntry& status);
    void note(RunEntry& run, const StatusEntry& status);
    Ended end(SystemTime time);
    Ended settleLocked();
    [[nodiscard]] bool hasRunningJob() const;
    [[nodiscard]] bool ranHere() const;
    [[nodiscard]] RunOutcome outcomeOf(const RunEntry& run) const;
    void tell(const Ended& ended) const;

    const Now now;
    OnEnd runEnded;
    OnProgress progressed;
    mutable std::mutex mutex;
    std::deque<RunEntry> runs;
    Current current;
    std::vector<Asked> asked;
    std::vector<JobProgress> jobsUnderWay;
    std::uint64_t lastId = 0;
    std::optional<SystemTime> cancelled;
};

} // namespace Quarlen::Kel_cpp
