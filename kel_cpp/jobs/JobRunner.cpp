#include "kel_cpp/jobs/JobRunner.hpp"

#include <algorithm>
#include <utility>

#include "kel_cpp/base/ExceptionBoundary.hpp"
#include "kel_cpp/base/RuntimeError.hpp"
#include "std_util/TraceHelper.hpp"

namespace Quarlen::Kel_cpp {

std::uint64_t newHandle() {
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

JobRunner::~JobRunner() {
    std::map<JobId, std::shared_ptr<Job>> ending;
    {
        const std::lock_guard lock(mutex);
        ending.swap(jobs);
    }
    for (const auto& [id, job] : ending) {
        job->cancel.request_stop();
    }
    for (const auto& [id, job] : ending) {
        if (job->thread.get_id() == std::this_thread::get_id()) {
            job->thread.detach();
        } else {
            job->thread.join();
        }
    }
}

JobRunner::JobId JobRunner::start(Work work, std::stop_token alsoCancelledBy) {
    const std::lock_guard lock(mutex);
    joinEnded();
    if (jobs.size() >= maxJobs) {
        throw runtimeError(ErrorCode::TooManyJobs,
                           std::to_wstring(maxJobs) + L" jobs are running already");
    }
    const JobId id = newHandle();
    const auto job = jobs.emplace(id, std::make_shared<Job>()).first->second;
    try {
        job->thread = std::thread(
            [job, id, work = std::move(work), closing = std::move(alsoCancelledBy)]() mutable {
                run(job, id, std::move(work), closing);
            });
    } catch (...) {
        jobs.erase(id);
        throw;
    }
    return id;
}

void JobRunner::cancel(const std::vector<JobId>& ids) {
    std::vector<std::stop_source> cancelled;
    {
        const std::lock_guard lock(mutex);
        for (const JobId id : ids) {
            if (const auto found = jobs.find(id); found != jobs.end()) {
                cancelled.push_back(found->second->cancel);
            }
        }
    }
    for (std::stop_source& source : cancelled) {
        source.request_stop();
    }
}

std::size_t JobRunner::running() const {
    const std::lock_guard lock(mutex);
    return static_cast<std::size_t>(std::count_if(
        jobs.begin(), jobs.end(), [](const auto& entry) { return !entry.second->ended; }));
}

/// Takes the work by value and releases its captures before the job counts as ended.
void JobRunner::run(const std::shared_ptr<Job>& job, JobId id, Work work,
                    const std::stop_token& alsoCancelledBy) {
    try {
        const std::stop_callback forward(
            alsoCancelledBy, [source = job->cancel]() mutable { source.request_stop(); });
        work(id, job->cancel.get_token());
    } catch (...) {
        StdUtil::TraceHelper::ErrorTrace(L"kel_cpp/jobs/JobRunner", __LINE__, L"job failed: %s",
                                         currentExceptionText().c_str());
    }
    work = nullptr;
    job->ended = true;
}

void JobRunner::joinEnded() {
    std::erase_if(jobs, [](const auto& entry) {
        if (!entry.second->ended) {
            return false;
        }
        entry.second->thread.join();
        return true;
    });
}

} // namespace Quarlen::Kel_cpp
