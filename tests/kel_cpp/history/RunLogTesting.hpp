#pragma once

#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "kel_cpp/history/RunGuards.hpp"

namespace Quarlen::Kel_cpp::Tests {

/// A log of runs whose time is the test's.
class ARunLog : public testing::Test {
protected:
    void SetUp() override {
        log.onEnd([this](const RunSummary& run) { ended.push_back(run); });
    }

    void status(const std::wstring& text) { log.statusSet({text, now, ++number}); }
    static void onAnotherThread(const std::function<void()>& function) {
        std::thread(function).join();
    }
    void job(JobKind kind, JobOutcome outcome) {
        log.jobBegins(7, kind, L"Job");
        log.jobEnds(7, outcome, L"summary");
    }
    /// It keeps no further job.
    void beginFullRun() {
        status(L"Running sequence: A");
        for (std::size_t count = 0; count < RunLog::maxEntriesOfRun; ++count) {
            const std::uint64_t id = 1000 + count;
            log.jobBegins(id, JobKind::Procedure, L"Kept");
            log.jobEnds(id, JobOutcome::Passed, {});
        }
    }
    /// As a cancel or abort does it that finds an active connection.
    void endBy(const std::wstring& text) {
        onAnotherThread([&] {
            status(text);
            log.projectDeselected();
            status(L"Idle");
        });
    }
    /// A run from its begin to its end, as of a button.
    RunEntry endedRun() {
        status(L"Idle");
        now += RunLog::quietTime;
        log.settle();
        return *log.find(log.latest().back().id);
    }

    SystemTime now{std::chrono::seconds(1000)};
    std::uint64_t number = 0;
    std::vector<RunSummary> ended;
    RunLog log{[this] { return now; }};
};

} // namespace Quarlen::Kel_cpp::Tests
