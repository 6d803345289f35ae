#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <limits>
#include <map>
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

    /// A wait is a sleep until its deadline, or until the time of the next alarm.
    bool waitUntil(const Wait& wait, const std::function<bool()>& ready) override {
        while (!ready()) {
            const TimePoint from = now();
            if (wait.cancel.stop_requested() || from >= wait.deadline) {
                return false;
            }
            wait.lock.unlock();
            sleepFor(std::chrono::ceil<Milliseconds>(std::min(wait.deadline, nextAlarm()) - from));
            ringAlarms();
            wait.lock.lock();
        }
        return true;
    }

    /// Calls the function once a wait has come to that time, on the thread that waits, without a
    /// lock held.
    void callAfter(Milliseconds delay, std::function<void()> alarm) {
        const std::lock_guard lock(mutex);
        alarms.emplace(current + delay, std::move(alarm));
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
    [[nodiscard]] TimePoint nextAlarm() const {
        const std::lock_guard lock(mutex);
        return alarms.empty() ? TimePoint::max() : alarms.begin()->first;
    }
    void ringAlarms() {
        std::unique_lock lock(mutex);
        while (!alarms.empty() && alarms.begin()->first <= current) {
            const auto alarm = std::move(alarms.begin()->second);
            alarms.erase(alarms.begin());
            lock.unlock();
            alarm();
            lock.lock();
        }
    }

    mutable std::mutex mutex;
    std::multimap<TimePoint, std::function<void()>> alarms;
    TimePoint current{std::chrono::hours(1)};
    std::vector<Milliseconds> sleepLog;
    std::size_t sleepLimit = std::numeric_limits<std::size_t>::max();
    std::function<void(Milliseconds)> sleepHook;
};

} // namespace Quarlen::Tests
