#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <stop_token>

namespace Quarlen::Platform {

/// Every sleep of the program goes through a clock, on the thread that sleeps, so that tests
/// replace the clock and do not have to wait. The environments of the subsystems hold it by
/// reference.
class Clock {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    virtual ~Clock() = default;

    virtual void sleepFor(std::chrono::milliseconds duration) = 0;
    [[nodiscard]] virtual TimePoint now() const = 0;

    /// What a thread waits for, and how long.
    struct Wait {
        std::unique_lock<std::mutex>& lock;
        std::condition_variable_any& changed;
        std::stop_token cancel;
        TimePoint deadline;
    };
    /// Waits until `ready` holds, the deadline has come or the stop is requested, and gives what
    /// `ready` says then. Whoever changes what `ready` looks at holds the mutex of the lock and
    /// notifies `changed`; `ready` is called with the lock held, nothing else is.
    virtual bool waitUntil(const Wait& wait, const std::function<bool()>& ready);
};

/// The real clock. Lives as long as the process.
Clock& systemClock();

} // namespace Quarlen::Platform
