#pragma once

#include <atomic>
#include <memory>
#include <windows.h>

namespace Quarlen::Platform {

/// What a console event (`CTRL_C_EVENT` and so on) means for the process.
class StopEvents {
public:
    enum class Answer {
        /// The process ends in order; the event is answered without waiting for that.
        GoOn,
        /// The system ends the process as soon as the event has been answered: the answer has to
        /// wait until the process has ended in order.
        WaitForTheEnd,
        /// Leaves the event to the system, which ends the process.
        EndAtOnce,
    };

    explicit StopEvents(std::shared_ptr<std::atomic<bool>> stopRequested);

    /// Raises the flag, except at the second Ctrl-C or Ctrl-Break. May be called on any thread.
    Answer onEvent(DWORD event) noexcept;

private:
    std::shared_ptr<std::atomic<bool>> stopRequested;
    std::atomic<bool> stopAsked{false};
};

} // namespace Quarlen::Platform
