#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "kel_cpp/history/EndRequests.hpp"
#include "kel_cpp/history/RunRecords.hpp"

namespace Quarlen::Kel_cpp {

/// The latest runs of sequences: when each began and ended, what came of it, where its report is.
///
/// A sequence does not tell the runtime that it begins or ends, so the log reads it from what the
/// runtime sees. "Running sequence: NAME" begins a run on the thread that sets it. A run that a
/// client asked for ends when the server handler returns (`ClientRun`). Another one ends when its
/// thread has set "Idle" and then neither waits in the runtime (`Call`, jobs) nor sets another text
/// for `quietTime`, when it has done nothing at all for `silentTime` since its beginning (its
/// script is missing), or when the next run begins: there is never more than one.
///
/// A cancel or abort counts for a run that it reaches: the one who asked takes the project away, or
/// the run does so while it is asked, and the run then sets a text once more. A request that finds
/// no active connection changes nothing but the status.
///
/// Any thread may call an operation.
class RunLog {
public:
    static constexpr std::size_t maxRuns = 100;
    /// Status texts and jobs kept of one run; further ones are counted or left out.
    static constexpr std::size_t maxEntriesOfRun = 1000;
    static constexpr std::chrono::milliseconds quietTime{1000};
    /// A script is read within this time.
    static constexpr std::chrono::milliseconds silentTime{10000};

    using Now = StatusLog::Now;
    using OnEnd = std::function<void(const RunSummary&)>;
    using OnJobEnd = std::function<void(const JobEntry&)>;
    using OnProgress = std::function<void(const JobProgress&)>;

    explicit RunLog(Now now = std::chrono::system_clock::now);

    class ClientRun;
    class Call;

    /// Called by the thread that sets the status.
    void statusSet(const StatusEntry& status);
    /// Called by the thread that takes the selection of the project back.
    void projectDeselected();
    void jobBegins(std::uint64_t id, JobKind kind, std::wstring name);
    void jobFound(std::uint64_t id, JobItem item);
    void jobProgressed(const JobProgress& progress);
    void jobEnds(std::uint64_t id, JobOutcome outcome, std::wstring summary);
    void reportWritten(std::wstring fileName);

    /// Ends a run that has been quiet for long enough. True when a run may still end this way, so
    /// that the caller asks again later.
    bool settle();

    /// True for a status text after which a run may end without a further one.
    [[nodiscard]] static bool mayEndAfter(const std::wstring& text);

    /// Oldest first; the last one may be running.
    [[nodiscard]] std::vector<RunSummary> latest();
    [[nodiscard]] std::optional<RunEntry> find(std::uint64_t id);
    /// How far the running jobs are.
    [[nodiscard]] std::vector<JobProgress> progress() const;
    /// When a cancel was last asked for that ended what there was.
    [[nodiscard]] std::optional<SystemTime> lastCancel() const;
    /// True when a run that a client asked for waits for the end of another one.
    [[nodiscard]] bool isClientWaiting() const;

    /// Called without a lock, by the thread that ended the run or the job reported on. Only while
    /// no other thread uses the log.
    void onEnd(OnEnd function);
    /// Hears of each job that began in a run, also of one that its run has no room for.
    void onJobEnd(OnJobEnd function);
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
        /// Nothing has come after its beginning yet.
        bool isSilent = true;
        /// A cancel or abort has reached it, but perhaps too late.
        bool isEnding = false;
        bool cancelled = false;
        /// A job of it has failed that can be judged, whether or not it is kept.
        bool hasFindings = false;
        /// Operations of the runtime in which its thread is.
        std::size_t calls = 0;
        /// When the thread of the run set "Idle", unless something has happened since.
        std::optional<SystemTime> idleSince;
        std::set<std::uint64_t> runningJobs;
    };
    using Ended = std::optional<RunSummary>;

    RunEntry* running();
    JobEntry* findJob(std::uint64_t id);
    void begin(const StatusEntry& status);
    void note(RunEntry& run, const StatusEntry& status);
    Ended end(SystemTime time);
    void noteMissingScript();
    Ended settleLocked();
    void judge(const JobEntry& job);
    void forgetJob(std::uint64_t id);
    [[nodiscard]] bool ranHere() const;
    [[nodiscard]] RunOutcome outcomeOf(const RunEntry& run) const;
    void tell(const Ended& ended) const;

    const Now now;
    OnEnd runEnded;
    OnJobEnd jobEnded;
    OnProgress progressed;
    mutable std::mutex mutex;
    std::deque<RunEntry> runs;
    /// Running ones that their runs have no room for.
    std::vector<JobEntry> jobsLeftOut;
    Current current;
    std::vector<Asked> asked;
    EndRequests endRequests;
    std::vector<JobProgress> jobsUnderWay;
    std::uint64_t lastId = 0;
};

} // namespace Quarlen::Kel_cpp
