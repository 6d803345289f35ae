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

/// A number for a job or an unlock session: never 0, never given twice in a process.
std::uint64_t newHandle();

/// The runtime's jobs, each on a thread of its own. Safe from any thread, jobs included.
class JobRunner {
public:
    using JobId = std::uint64_t;
    /// Gets its own identifier and the token that a cancel raises.
    using Work = std::function<void(JobId, const std::stop_token&)>;

    /// More would only wait for the vehicle.
    static constexpr std::size_t mostJobs = 64;

    JobRunner() = default;
    JobRunner(const JobRunner&) = delete;
    JobRunner& operator=(const JobRunner&) = delete;
    /// Cancels all jobs and waits for their ends. Run by a job itself it does not wait for that
    /// one, which then ends by itself.
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
