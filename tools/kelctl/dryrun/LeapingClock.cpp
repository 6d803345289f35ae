#include "tools/kelctl/dryrun/LeapingClock.hpp"

#include <algorithm>
#include <utility>

namespace Quarlen::Ctl {

using std::chrono::milliseconds;

void LeapingClock::sleepFor(milliseconds duration) {
    std::unique_lock lock(mutex);
    const TimePoint target = current + std::max(duration, milliseconds{0});
    beatUntil(lock, target);
    letFollowersLook(lock, target);
    current = std::max(current, target);
    changed.notify_all();
}

bool LeapingClock::waitUntil(const Wait& wait, const std::function<bool()>& ready) {
    // A wait that a cancel can end looks around as often as one in real time would.
    constexpr milliseconds look{20};
    while (!ready()) {
        const TimePoint from = now();
        if (wait.cancel.stop_requested() || from >= wait.deadline) {
            return false;
        }
        wait.lock.unlock();
        sleepFor(std::min(look, std::chrono::ceil<milliseconds>(wait.deadline - from)));
        wait.lock.lock();
    }
    return true;
}

Platform::Clock::TimePoint LeapingClock::now() const {
    const std::lock_guard lock(mutex);
    return current;
}

void LeapingClock::everyInterval(milliseconds interval, std::function<void()> function) {
    beat = std::move(function);
    beatInterval = interval;
    nextBeat = current + interval;
}

void LeapingClock::follow(milliseconds duration) {
    if (duration < shortestLook) {
        constexpr milliseconds breath{1};
        Platform::systemClock().sleepFor(std::min(duration, breath));
        return;
    }
    std::unique_lock lock(mutex);
    const TimePoint wanted = current + duration;
    const auto own = waits.insert(wanted);
    changed.notify_all();
    changed.wait_for(lock, duration, [&] { return current >= wanted; });
    waits.erase(own);
}

/// Wakes each follower when its time has come and waits until it has looked around and sleeps
/// again. A follower only stops looking when its job has ended, or when it fails: then it does not
/// come back.
void LeapingClock::letFollowersLook(std::unique_lock<std::mutex>& lock, TimePoint target) {
    bool cameBack = true;
    while (cameBack && !waits.empty() && *waits.begin() <= target) {
        const std::size_t count = waits.size();
        current = std::max(current, *waits.begin());
        changed.notify_all();
        cameBack = changed.wait_for(
            lock, patience, [&] { return waits.size() >= count && *waits.begin() > current; });
    }
}

void LeapingClock::beatUntil(std::unique_lock<std::mutex>& lock, TimePoint target) {
    while (nextBeat <= target) {
        current = std::max(current, nextBeat);
        nextBeat += beatInterval;
        lock.unlock();
        beat();
        lock.lock();
    }
}

} // namespace Quarlen::Ctl
