#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <stop_token>

#include "kel_server_lib/runtime/AsyncReporterCallback.hpp"
#include "kel_server_lib/runtime/KelApi.hpp"
#include "kel_server_lib/sequence/actions/SequenceEnvironment.hpp"
#include "std_util/Semaphore.hpp"

namespace Quarlen {

/// The state that a run's actions share with the callers that run, stop, cancel and abort it, on
/// several threads while an action works.
class RunState {
public:
    using Api = std::shared_ptr<Kel_cpp::KelApi>;

    explicit RunState(SequenceEnvironment environment);
    RunState(const RunState&) = delete;
    RunState& operator=(const RunState&) = delete;

    /// Returns whether a stop was raised already.
    bool raiseStop();
    void lowerStop();
    /// True when a stop is raised or was raised at any time since the current run began: a cancel
    /// may lower its stop again before a slow action has checked it.
    [[nodiscard]] bool stopRaised() const;
    /// For a call that waits and cannot look for a stop itself: requested by the next stop that is
    /// raised, on the thread that raises it.
    [[nodiscard]] std::stop_token nextStop();

    // The order of construction matters. The semaphore is the run lock.
    StdUtil::Semaphore semaphore{nullptr, false, -1, false};
    Kel_cpp::AsyncReporterCallback<Kel_cpp::ServiceResult, Kel_cpp::KelApi::ExecuteServiceCallback>
        serviceReporter;
    Kel_cpp::AsyncReporterCallback<Kel_cpp::QuickTestResult,
                                   Kel_cpp::KelApi::PerformQuickTestCallback>
        quicktestReporter;
    Kel_cpp::AsyncReporterCallback<Kel_cpp::FlashResult,
                                   Kel_cpp::KelApi::ExecuteFlashSessionsCallback>
        flashReporter;
    std::atomic<bool> stopRequested{false};
    /// Job that the running action started, 0 when there is none.
    std::atomic<std::uint64_t> currentJobId{0};
    /// Unlock session that is held, 0 when there is none.
    std::atomic<std::uint64_t> currentJobHandle{0};
    const SequenceEnvironment environment;

protected:
    ~RunState() = default;

    /// The number of stops raised so far, and that number at the begin of the current run.
    std::atomic<std::uint64_t> stopCount{0};
    std::atomic<std::uint64_t> stopCountAtRunStart{0};

private:
    std::mutex nextStopMutex;
    std::stop_source nextStopSource{std::nostopstate};
};

} // namespace Quarlen
