#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

#include "platform/Clock.hpp"

namespace Quarlen::Tests {

/// A clock whose time only moves when somebody sleeps on it or a test advances it. Safe from any
/// thread.
class FakeClock : public Platform::Clock {
public:
    using Milliseconds = std::chrono::milliseconds;

    /// Returns at once; the time has then moved on by `duration`.
    void sleepFor(Milliseconds duration) override {
        std::function<void(Milliseconds)> hook;
        {
            const std::lock_guard lock(mutex);
            if (sleepLog.size() == sleepLimit) {
                throw std::runtime_error("a wait did not end: more sleeps than the test allows");
            }
            current += duration;
            sleepLog.push_back(duration);
            hook = sleepHook;
        }
        if (hook) {
            hook(duration);
        }
    }

    [[nodiscard]] TimePoint now() const override {
        const std::lock_guard lock(mutex);
        return current;
    }

    /// Moves the time on without a sleep in the log.
    void advance(Milliseconds duration) {
        const std::lock_guard lock(mutex);
        current += duration;
    }

    /// Called after each sleep on the thread that slept, without a lock held: the place to raise a
    /// stop or to yield to other threads.
    void onSleep(std::function<void(Milliseconds)> hook) {
        const std::lock_guard lock(mutex);
        sleepHook = std::move(hook);
    }

    /// Every sleep after this many throws, so that a loop that would wait for ever fails its test.
    /// For tests in which only the test's own thread sleeps.
    void limitSleeps(std::size_t count) {
        const std::lock_guard lock(mutex);
        sleepLimit = count;
    }

    /// All sleeps so far, in order.
    [[nodiscard]] std::vector<Milliseconds> sleeps() const {
        const std::lock_guard lock(mutex);
        return sleepLog;
    }

    [[nodiscard]] Milliseconds sleptInTotal() const {
        const std::lock_guard lock(mutex);
        Milliseconds total{0};
        for (const auto sleep : sleepLog) {
            total += sleep;
        }
        return total;
    }

private:
    mutable std::mutex mutex;
    TimePoint current{std::chrono::hours(1)};
    std::vector<Milliseconds> sleepLog;
    std::size_t sleepLimit = std::numeric_limits<std::size_t>::max();
    std::function<void(Milliseconds)> sleepHook;
};

} // namespace Quarlen::Tests
