#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "kel_cpp/history/RunLog.hpp"
#include "kel_server_lib/runtime/KelApi.hpp"

namespace Quarlen::Kel_cpp {

/// What the history keeps of one job: reads the results on their way to the job's callback and
/// tells the log before the callback hears of them, so that a sequence that goes on after the last
/// report finds its job ended. Used by the job's thread only.
class JobWatch {
public:
    /// `units` is how many control units a quick test asks.
    JobWatch(std::shared_ptr<RunLog> log, std::uint64_t id, JobKind kind, const std::wstring& name,
             std::uint64_t units = 0);

    void take(const RecordList<ServiceResult>& results);
    void take(const RecordList<QuickTestResult>& results);
    void take(const RecordList<FlashResult>& results);
    void end();

private:
    void take(const FlashResult& result);

    std::shared_ptr<RunLog> log;
    std::uint64_t id;
    JobKind kind;
    std::uint64_t units;
    std::uint64_t unitsDone = 0;
    std::uint64_t unitsRead = 0;
    std::size_t faults = 0;
    bool asksForFaults = true;
    std::wstring passedSession;
    JobOutcome outcome = JobOutcome::Passed;
    std::wstring summary;
};

/// Passes the reports of one job on to its callback after the watch has seen them.
template <class Result>
class WatchedReports : public KelApi::JobCallback<Result> {
public:
    WatchedReports(KelApi::JobCallback<Result>& callback, JobWatch watch)
        : callback(callback), watch(std::move(watch)) {}

    void report(RecordList<Result> results, std::uint64_t value, std::shared_ptr<Record> context,
                bool done) override {
        watch.take(results);
        if (done) {
            watch.end();
        }
        callback.report(std::move(results), value, std::move(context), done);
    }

private:
    KelApi::JobCallback<Result>& callback;
    JobWatch watch;
};

} // namespace Quarlen::Kel_cpp
