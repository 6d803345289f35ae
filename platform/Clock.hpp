#pragma once

#include <chrono>

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
};

/// The real clock. Lives as long as the process.
Clock& systemClock();

} // namespace Quarlen::Platform
