#pragma once

#include <chrono>
#include <functional>

#include "kel_server_lib/runtime/KelApi.hpp"
#include "kel_server_lib/sequence/actions/RunState.hpp"

namespace Quarlen {

/// What the four actions have in common around their own steps: the traces "-> " and "<- " with
/// `actionName`, status "Idle" and true at the end. A `KelApiException` of any step ends the action
/// instead with a console line, no current job, a status that tells the failure, and false; other
/// exceptions pass.
bool runInActionFrame(RunState& state, Kel_cpp::KelApi& api, const wchar_t* actionName,
                      const std::function<void()>& steps);

/// Waits for a job's last report, however long it takes; a stop does not end the wait.
template <class Reporter>
void waitForJob(const RunState& state, const Reporter& reporter) {
    while (!reporter.done) {
        state.environment.clock.sleepFor(std::chrono::milliseconds(10));
    }
}

/// Launches a job that reports into `reporter`. A launch that throws leaves no job outstanding, so
/// that an abort does not wait for a job that never started.
template <class Reporter, class Launch>
void launchJob(RunState& state, Reporter& reporter, const Launch& launch) {
    reporter.expectJob();
    try {
        state.currentJobId = launch();
    } catch (...) {
        reporter.expectNoJob();
        throw;
    }
}

} // namespace Quarlen
