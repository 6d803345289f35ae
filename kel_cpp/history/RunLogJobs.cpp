#include <algorithm>
#include <utility>

#include "kel_cpp/history/RunLog.hpp"

namespace Quarlen::Kel_cpp {

namespace {

/// What a quick test finds stands in its report; the test itself has done its work.
bool isFinding(const JobEntry& job) {
    return job.outcome == JobOutcome::Failed && job.kind != JobKind::QuickTest;
}

} // namespace

void RunLog::jobBegins(std::uint64_t id, JobKind kind, std::wstring name) {
    const std::lock_guard lock(mutex);
    jobsUnderWay.push_back({id, kind, {}, {}, 0, 0});
    current.isSilent = false;
    RunEntry* const run = running();
    if (run == nullptr) {
        return;
    }
    current.runningJobs.insert(id);
    JobEntry job;
    job.id = id;
    job.kind = kind;
    job.name = std::move(name);
    job.begin = now();
    (run->jobs.size() < maxEntriesOfRun ? run->jobs : jobsLeftOut).push_back(std::move(job));
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
    std::optional<JobEntry> ended;
    {
        const std::lock_guard lock(mutex);
        if (JobEntry* const job = findJob(id)) {
            job->end = now();
            job->outcome = outcome;
            job->summary = std::move(summary);
            judge(*job);
            ended = jobEnded ? std::optional(*job) : std::nullopt;
        }
        forgetJob(id);
        if (current.idleSince) {
            current.idleSince = now();
        }
    }
    if (ended) {
        jobEnded(*ended);
    }
}

/// A job that outlives its run has no say in the next one.
void RunLog::judge(const JobEntry& job) {
    if (current.runningJobs.contains(job.id)) {
        current.cancelled = current.cancelled || job.outcome == JobOutcome::Cancelled;
        current.hasFindings = current.hasFindings || isFinding(job);
    }
}

void RunLog::forgetJob(std::uint64_t id) {
    std::erase_if(jobsUnderWay, [&](const JobProgress& entry) { return entry.job == id; });
    std::erase_if(jobsLeftOut, [&](const JobEntry& entry) { return entry.id == id; });
    current.runningJobs.erase(id);
}

std::vector<JobProgress> RunLog::progress() const {
    const std::lock_guard lock(mutex);
    return jobsUnderWay;
}

/// A job outlives its run where nothing waits for it, so all runs are looked through.
JobEntry* RunLog::findJob(std::uint64_t id) {
    const auto findIn = [id](std::vector<JobEntry>& jobs) -> JobEntry* {
        const auto found = std::find_if(jobs.begin(), jobs.end(),
                                        [&](const JobEntry& job) { return job.id == id; });
        return found == jobs.end() ? nullptr : &*found;
    };
    JobEntry* found = findIn(jobsLeftOut);
    for (std::size_t back = 1; found == nullptr && back <= runs.size(); ++back) {
        found = findIn(runs[runs.size() - back].jobs);
    }
    return found;
}

} // namespace Quarlen::Kel_cpp
