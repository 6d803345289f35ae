#pragma once

#include <chrono>

namespace Quarlen::Platform {

/// Every sleep of the program goes through a clock, so that tests do not have to wait.
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
