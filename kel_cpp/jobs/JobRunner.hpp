#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stop_token>
#include <thread>
#include <vector>

namespace Quarlen::Kel_cpp {

/// Returns a new identifier for a job or an unlock session: never 0, unique in the process.
std::uint64_t newHandle();

/// Runs the runtime's jobs, each on a thread of its own. The runner owns the threads: the next
/// `start` or the destructor joins a thread whose job has ended. Nothing is queued here; a job
/// waits for the vehicle in `VehicleAccess::takeTurn`. `cancel`, the destructor and the token that
/// `start` was given only raise the stop token of a job; the work checks the token and ends itself.
/// Safe from any thread, jobs included.
class JobRunner {
public:
    using JobId = std::uint64_t;
    /// Receives the identifier of the job and the token that a cancel raises.
    using Work = std::function<void(JobId, const std::stop_token&)>;

    /// Further jobs are refused, because they would only wait for the vehicle.
    static constexpr std::size_t maxJobs = 64;

    JobRunner() = default;
    JobRunner(const JobRunner&) = delete;
    JobRunner& operator=(const JobRunner&) = delete;
    /// Cancels all jobs and waits for their ends. When a job itself destroys the runner, that job
    /// is not waited for and ends by itself.
    ~JobRunner();

    /// `alsoCancelledBy` cancels the job, too. Throws `KelApiException` (code TooManyJobs), and
    /// `std::system_error` when the system has no thread left; then the work is not run.
    JobId start(Work work, std::stop_token alsoCancelledBy);
    /// Does not wait. Unknown identifiers are ignored.
    void cancel(const std::vector<JobId>& ids);
    /// Jobs that have not ended yet.
    [[nodiscard]] std::size_t running() const;

private:
    struct Job {
        std::stop_source cancel;
        std::thread thread;
        std::atomic<bool> ended{false};
    };

    static void run(const std::shared_ptr<Job>& job, JobId id, Work work,
                    const std::stop_token& alsoCancelledBy);
    void joinEnded();

    mutable std::mutex mutex;
    std::map<JobId, std::shared_ptr<Job>> jobs;
};

} // namespace Quarlen::Kel_cpp
