#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>

#include "kel_server_lib/runtime/KelApi.hpp"

namespace Quarlen::Kel_cpp {

/// Collects the reports of one kind of job for a thread that polls.
///
/// The runtime reports without a lock: `report` only pushes onto a lock-free list and then stores
/// `done`, so a reader never holds up a runtime thread. Readers serialise among themselves with the
/// mutex. A reader that sees `done` true also sees every result reported before it.
template <class Result, class Callback, class Mutex = std::mutex>
class AsyncReporterCallback : public Callback {
public:
    using Results = RecordList<Result>;

    AsyncReporterCallback() = default;
    AsyncReporterCallback(const AsyncReporterCallback&) = delete;
    AsyncReporterCallback& operator=(const AsyncReporterCallback&) = delete;
    ~AsyncReporterCallback() override { deleteReports(reports.exchange(nullptr)); }

    /// Called by the runtime, on a thread of its own.
    void report(Results results, std::uint64_t /*value*/, std::shared_ptr<Record> /*context*/,
                bool lastReport) override {
        if (!results.empty()) {
            push(std::make_unique<Report>(Report{std::move(results), nullptr}));
        }
        done.store(lastReport, std::memory_order_release);
    }

    /// True while no job of this kind is outstanding; the lock orders it among other readers.
    [[nodiscard]] bool isDone() const {
        const std::lock_guard lock(mutex);
        return done.load(std::memory_order_acquire);
    }

    /// Hands over everything reported so far, in arrival order, and forgets it.
    [[nodiscard]] Results takeResults() {
        const std::lock_guard lock(mutex);
        Report* newestFirst = reports.exchange(nullptr, std::memory_order_acquire);
        Results taken;
        for (Report* report = newestFirst; report != nullptr; report = report->older) {
            taken.insert(taken.end(), report->results.rbegin(), report->results.rend());
        }
        std::reverse(taken.begin(), taken.end());
        deleteReports(newestFirst);
        return taken;
    }

    /// Call it before a launch: forgets old results and marks a job as outstanding.
    void expectJob() {
        deleteReports(reports.exchange(nullptr, std::memory_order_acquire));
        done.store(false, std::memory_order_release);
    }

    /// Call it after a launch that failed: no job is outstanding.
    void expectNoJob() { done.store(true, std::memory_order_release); }

private:
    struct Report {
        Results results;
        Report* older;
    };

    void push(std::unique_ptr<Report> report) {
        Report* const added = report.release();
        added->older = reports.load(std::memory_order_relaxed);
        while (!reports.compare_exchange_weak(added->older, added, std::memory_order_release,
                                              std::memory_order_relaxed)) {
        }
    }

    static void deleteReports(Report* report) {
        while (report != nullptr) {
            delete std::exchange(report, report->older);
        }
    }

    mutable Mutex mutex;
    std::atomic<Report*> reports{nullptr};

public:
    /// True when no job is outstanding. Read directly by loops that wait for a job's end.
    std::atomic<bool> done{true};
};

} // namespace Quarlen::Kel_cpp
