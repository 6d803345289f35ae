#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <set>

#include "platform/Clock.hpp"

namespace Quarlen::Ctl {

/// The time of a dry run: it passes only where the vehicle or a job waits for it, and then at once,
/// so that nobody sits out a wait of minutes.
///
/// A sequence looks every now and then how far its job is. It waits on `follower`, which does not
/// move the time, so that its looking never makes an answer late: it wakes when the others have
/// moved the time far enough, and the one who moves it lets the sequence look around first. So the
/// sequence sees what it would see in real time. Where nobody moves the time (a job that computes)
/// the follower wakes after a real wait of that length.
class LeapingClock final : public Platform::Clock {
public:
    /// How long, in real time, a follower that looks around is waited for. Far longer than a busy
    /// machine can hold it up.
    static constexpr std::chrono::minutes defaultPatience{1};

    explicit LeapingClock(std::chrono::milliseconds patience = defaultPatience)
        : patience(patience) {}

    /// On a thread of the runtime.
    void sleepFor(std::chrono::milliseconds duration) override;
    [[nodiscard]] TimePoint now() const override;
    /// A leap to the deadline.
    bool waitUntil(const Wait& wait, const std::function<bool()>& ready) override;

    /// Shorter waits only ask whether a job has ended; the follower waits a moment of real time
    /// instead, so that a wait of hours does not become millions of looks.
    static constexpr std::chrono::milliseconds shortestLook{50};

    /// For the sequence. Lives as long as this clock.
    [[nodiscard]] Platform::Clock& follower() { return followingClock; }

    /// Called after each `interval` of the time that passes, by the thread that makes it pass.
    /// Only before the clock is used.
    void everyInterval(std::chrono::milliseconds interval, std::function<void()> beat);

private:
    class Follower final : public Platform::Clock {
    public:
        explicit Follower(LeapingClock& leader) : leader(leader) {}
        void sleepFor(std::chrono::milliseconds duration) override { leader.follow(duration); }
        [[nodiscard]] TimePoint now() const override { return leader.now(); }

    private:
        LeapingClock& leader;
    };

    void follow(std::chrono::milliseconds duration);
    void letFollowersLook(std::unique_lock<std::mutex>& lock, TimePoint target);
    void beatUntil(std::unique_lock<std::mutex>& lock, TimePoint target);

    const std::chrono::milliseconds patience;
    mutable std::mutex mutex;
    std::condition_variable changed;
    TimePoint current{std::chrono::hours(1)};
    /// When each of the waiting followers wants to wake.
    std::multiset<TimePoint> waits;
    std::function<void()> beat;
    std::chrono::milliseconds beatInterval{0};
    TimePoint nextBeat = TimePoint::max();
    Follower followingClock{*this};
};

} // namespace Quarlen::Ctl
