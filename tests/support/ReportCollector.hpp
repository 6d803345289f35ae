#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "kel_server_lib/runtime/KelApi.hpp"

namespace Quarlen::Tests {

/// A job's callback that keeps all reports and lets a test wait for the last one.
template <class Result, class Callback>
class ReportCollector : public Callback {
public:
    void report(Kel_cpp::RecordList<Result> results, std::uint64_t value,
                std::shared_ptr<Kel_cpp::Record> /*context*/, bool done) override {
        const std::lock_guard lock(mutex);
        ++reports;
        lastValue = value;
        reportsAfterLast += ended ? 1U : 0U;
        ended = ended || done;
        collected.insert(collected.end(), results.begin(), results.end());
        changed.notify_all();
    }

    /// False when the last report has not come in time.
    bool waitForLast(std::chrono::milliseconds limit = std::chrono::seconds(100)) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, limit, [this] { return ended; });
    }

    bool waitForResults(std::size_t count) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(100),
                                [&] { return collected.size() >= count; });
    }

    [[nodiscard]] Kel_cpp::RecordList<Result> results() const {
        const std::lock_guard lock(mutex);
        return collected;
    }

    [[nodiscard]] std::size_t reportCount() const {
        const std::lock_guard lock(mutex);
        return reports;
    }

    [[nodiscard]] std::size_t reportCountAfterLast() const {
        const std::lock_guard lock(mutex);
        return reportsAfterLast;
    }

    [[nodiscard]] std::uint64_t value() const {
        const std::lock_guard lock(mutex);
        return lastValue;
    }

private:
    mutable std::mutex mutex;
    std::condition_variable changed;
    Kel_cpp::RecordList<Result> collected;
    std::size_t reports = 0;
    std::size_t reportsAfterLast = 0;
    std::uint64_t lastValue = 0;
    bool ended = false;
};

using ServiceCollector =
    ReportCollector<Kel_cpp::ServiceResult, Kel_cpp::KelApi::ExecuteServiceCallback>;
using QuickTestCollector =
    ReportCollector<Kel_cpp::QuickTestResult, Kel_cpp::KelApi::PerformQuickTestCallback>;
using FlashCollector =
    ReportCollector<Kel_cpp::FlashResult, Kel_cpp::KelApi::ExecuteFlashSessionsCallback>;

} // namespace Quarlen::Tests
