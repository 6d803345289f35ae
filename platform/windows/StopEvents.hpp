#pragma once

#include <atomic>
#include <memory>
#include <windows.h>

namespace Quarlen::Platform {

/// What a console event (`CTRL_C_EVENT` and so on) means for the process.
class StopEvents {
public:
    enum class Answer {
        /// The process ends in order; who told of the event need not wait for it.
        GoOn,
        /// The system ends the process as soon as the event has been answered: the answer has to
        /// wait until the process has ended in order.
        WaitForTheEnd,
        /// Leaves the event to the system, which ends the process.
        EndAtOnce,
    };

    explicit StopEvents(std::shared_ptr<std::atomic<bool>> stopRequested);

    /// Raises the flag, but at the second of Ctrl-C and Ctrl-Break. On any thread.
    Answer onEvent(DWORD event) noexcept;

private:
    std::shared_ptr<std::atomic<bool>> stopRequested;
    std::atomic<bool> stopAsked{false};
};

} // namespace Quarlen::Platform
