#include "kel_cpp/history/RunLog.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

namespace Quarlen::Kel_cpp {

namespace {

constexpr std::wstring_view runPrefix = L"Running sequence: ";
constexpr std::wstring_view exceptionPrefix = L"Exception caught: ";
constexpr std::wstring_view idle = L"Idle";

bool startsWith(const std::wstring& text, std::wstring_view prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool anyJob(const RunEntry& run, JobOutcome outcome) {
    return std::any_of(run.jobs.begin(), run.jobs.end(),
                       [&](const JobEntry& job) { return job.outcome == outcome; });
}

/// What a quick test finds stands in its report; the test itself has done its work.
bool isFinding(const JobEntry& job) {
    return job.outcome == JobOutcome::Failed && job.kind != JobKind::QuickTest;
}

} // namespace

RunLog::RunLog(Now now) : now(std::move(now)) {}

void RunLog::statusSet(const StatusEntry& status) {
    Ended ended;
    {
        const std::lock_guard lock(mutex);
        endRequests.statusSet(status);
        if (startsWith(status.text, runPrefix)) {
            ended = end(status.time);
            begin(status);
        } else if (!ranHere()) {
            ended = settleLocked();
        }
        if (RunEntry* const run = running()) {
            note(*run, status);
        }
    }
    tell(ended);
}

void RunLog::projectDeselected() {
    const std::lock_guard lock(mutex);
    const bool isForRequest = endRequests.projectDeselected();
    // A run that notices a request early takes the project away itself.
    if (running() != nullptr && (isForRequest || (ranHere() && endRequests.isAnyUnderWay()))) {
        current.isEnding = true;
    }
}

void RunLog::begin(const StatusEntry& status) {
    RunEntry run;
    run.id = ++lastId;
    run.name = status.text.substr(runPrefix.size());
    run.begin = status.time;
    current = {};
    current.thread = std::this_thread::get_id();
    const auto client = std::find_if(asked.begin(), asked.end(), [&](const Asked& entry) {
        return entry.thread == current.thread;
    });
    if (client != asked.end()) {
        run.client = client->client;
        client->hasBegun = true;
        current.ofClient = true;
    }
    runs.push_back(std::move(run));
    if (runs.size() > maxRuns) {
        runs.pop_front();
    }
}

void RunLog::note(RunEntry& run, const StatusEntry& status) {
    if (run.statuses.size() < maxEntriesOfRun) {
        run.statuses.push_back(status);
    } else {
        ++run.statusesLeftOut;
    }
    if (startsWith(status.text, exceptionPrefix) && run.exceptions.size() < maxEntriesOfRun) {
        run.exceptions.push_back(status.text.substr(exceptionPrefix.size()));
    }
    if (!ranHere()) {
        return;
    }
    current.isSilent = current.isSilent && startsWith(status.text, runPrefix);
    current.cancelled = current.cancelled || current.isEnding;
    if (status.text == idle) {
        current.idleSince = status.time;
    } else {
        current.idleSince.reset();
    }
}

void RunLog::jobBegins(std::uint64_t id, JobKind kind, std::wstring name) {
    const std::lock_guard lock(mutex);
    jobsUnderWay.push_back({id, kind, {}, {}, 0, 0});
    current.isSilent = false;
    RunEntry* const run = running();
    if (run != nullptr && run->jobs.size() < maxEntriesOfRun) {
        JobEntry job;
        job.id = id;
        job.kind = kind;
        job.name = std::move(name);
        job.begin = now();
        run->jobs.push_back(std::move(job));
    }
}

void RunLog::jobFound(std::uint64_t id, JobItem item) {
    const std::lock_guard lock(mutex);
    JobEntry* const job = findJob(id);
    if (job != nullptr && job->items.size() < maxEntriesOfRun) {
        job->items.push_back(std::move(item));
    }
}

void RunLog::jobProgressed(const JobProgress& progress) {
    {
        const std::lock_guard lock(mutex);
        const auto found =
            std::find_if(jobsUnderWay.begin(), jobsUnderWay.end(),
                         [&](const JobProgress& entry) { return entry.job == progress.job; });
        if (found != jobsUnderWay.end()) {
            *found = progress;
        }
    }
    if (progressed) {
        progressed(progress);
    }
}

void RunLog::jobEnds(std::uint64_t id, JobOutcome outcome, std::wstring summary) {
    const std::lock_guard lock(mutex);
    if (JobEntry* const job = findJob(id)) {
        job->end = now();
        job->outcome = outcome;
        job->summary = std::move(summary);
    }
    std::erase_if(jobsUnderWay, [&](const JobProgress& entry) { return entry.job == id; });
    if (current.idleSince) {
        current.idleSince = now();
    }
}

void RunLog::reportWritten(std::wstring fileName) {
    const std::lock_guard lock(mutex);
    RunEntry* const run = running();
    if (run != nullptr && run->reports.size() < maxEntriesOfRun) {
        run->reports.push_back(std::move(fileName));
    }
}

bool RunLog::settle() {
    Ended ended;
    bool mayEndLater = false;
    {
        const std::lock_guard lock(mutex);
        ended = settleLocked();
        mayEndLater =
            running() != nullptr && !current.ofClient && (current.idleSince || current.isSilent);
    }
    tell(ended);
    return mayEndLater;
}

RunLog::Ended RunLog::settleLocked() {
    if (running() == nullptr || current.ofClient || current.calls > 0 || hasRunningJob()) {
        return {};
    }
    if (current.isSilent && now() - running()->begin >= silentTime) {
        noteMissingScript();
        return end(running()->begin);
    }
    if (!current.idleSince || now() - *current.idleSince < quietTime) {
        return {};
    }
    return end(*current.idleSince);
}

bool RunLog::mayEndAfter(const std::wstring& text) {
    return text == idle || startsWith(text, runPrefix);
}

std::vector<RunSummary> RunLog::latest() {
    settle();
    const std::lock_guard lock(mutex);
    return {runs.begin(), runs.end()};
}

std::optional<RunEntry> RunLog::find(std::uint64_t id) {
    settle();
    const std::lock_guard lock(mutex);
    const auto found =
        std::find_if(runs.begin(), runs.end(), [&](const RunEntry& run) { return run.id == id; });
    return found == runs.end() ? std::nullopt : std::optional(*found);
}

std::vector<JobProgress> RunLog::progress() const {
    const std::lock_guard lock(mutex);
    return jobsUnderWay;
}

std::optional<SystemTime> RunLog::lastCancel() const {
    const std::lock_guard lock(mutex);
    return endRequests.lastCancel();
}

bool RunLog::isClientWaiting() const {
    const std::lock_guard lock(mutex);
    return std::any_of(asked.begin(), asked.end(),
                       [](const Asked& entry) { return !entry.hasBegun; });
}

void RunLog::onEnd(OnEnd function) {
    runEnded = std::move(function);
}

void RunLog::onProgress(OnProgress function) {
    progressed = std::move(function);
}

RunEntry* RunLog::running() {
    return runs.empty() || runs.back().end ? nullptr : &runs.back();
}

/// A job outlives its run where nothing waits for it, so all runs are looked through.
JobEntry* RunLog::findJob(std::uint64_t id) {
    for (std::size_t back = 1; back <= runs.size(); ++back) {
        std::vector<JobEntry>& jobs = runs[runs.size() - back].jobs;
        const auto found = std::find_if(jobs.begin(), jobs.end(),
                                        [&](const JobEntry& job) { return job.id == id; });
        if (found != jobs.end()) {
            return &*found;
        }
    }
    return nullptr;
}

bool RunLog::hasRunningJob() const {
    return anyJob(runs.back(), JobOutcome::Running);
}

RunLog::Ended RunLog::end(SystemTime time) {
    RunEntry* const run = running();
    if (run == nullptr) {
        return {};
    }
    run->end = time;
    run->outcome = outcomeOf(*run);
    return *run;
}

RunOutcome RunLog::outcomeOf(const RunEntry& run) const {
    if (current.cancelled || anyJob(run, JobOutcome::Cancelled)) {
        return RunOutcome::Cancelled;
    }
    if (!run.exceptions.empty()) {
        return RunOutcome::Failed;
    }
    return std::any_of(run.jobs.begin(), run.jobs.end(), isFinding) ? RunOutcome::Findings
                                                                    : RunOutcome::Clean;
}

void RunLog::tell(const Ended& ended) const {
    if (ended && runEnded) {
        runEnded(*ended);
    }
}

/// Every other end sets "Idle" or tells of an exception.
void RunLog::noteMissingScript() {
    running()->exceptions.emplace_back(L"there is no such script");
}

bool RunLog::ranHere() const {
    return current.thread == std::this_thread::get_id();
}

} // namespace Quarlen::Kel_cpp
