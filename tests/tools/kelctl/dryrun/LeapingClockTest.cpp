#include "tools/kelctl/dryrun/LeapingClock.hpp"

#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace Quarlen::Ctl::Tests {

using std::chrono::milliseconds;

namespace {

/// The real time between two leaps. Without it the clock would leap over the end of what it can
/// count before a slow machine has started the follower's thread.
void pauseBetweenLeaps() {
    Platform::systemClock().sleepFor(milliseconds(1));
}

} // namespace

TEST(LeapingClock, MovesByASleepAndByNothingElse) {
    LeapingClock clock;
    const auto start = clock.now();
    clock.sleepFor(std::chrono::hours(24));
    EXPECT_EQ(clock.now() - start, std::chrono::hours(24));
    clock.sleepFor(milliseconds(-5));
    EXPECT_EQ(clock.now() - start, std::chrono::hours(24));
    EXPECT_EQ(clock.follower().now(), clock.now());
}

TEST(LeapingClock, IsNotMovedByItsFollower) {
    LeapingClock clock;
    const auto start = clock.now();
    clock.follower().sleepFor(LeapingClock::shortestLook);
    clock.follower().sleepFor(milliseconds(1));
    EXPECT_EQ(clock.now(), start);
}

TEST(LeapingClock, BeatsAtEachIntervalWithTheTimeOfTheBeat) {
    LeapingClock clock;
    const auto start = clock.now();
    std::vector<milliseconds> beats;
    clock.everyInterval(std::chrono::seconds(2), [&] {
        beats.push_back(std::chrono::duration_cast<milliseconds>(clock.now() - start));
    });
    clock.sleepFor(milliseconds(1999));
    EXPECT_TRUE(beats.empty());
    clock.sleepFor(milliseconds(1));
    clock.sleepFor(milliseconds(4001));
    EXPECT_EQ(beats, (std::vector{milliseconds(2000), milliseconds(4000), milliseconds(6000)}));
    EXPECT_EQ(clock.now() - start, milliseconds(6001));
}

/// It has seen what it waited for, or has failed.
TEST(LeapingClock, LeapsOnWithoutAFollowerThatDoesNotComeBack) {
    LeapingClock clock(milliseconds(1));
    constexpr std::chrono::hours interval{1};
    std::atomic<bool> hasLooked{false};
    std::thread follower([&] {
        clock.follower().sleepFor(interval);
        hasLooked = true;
    });
    while (!hasLooked) {
        clock.sleepFor(10 * interval);
        pauseBetweenLeaps();
    }
    follower.join();
    const auto before = clock.now();
    clock.sleepFor(interval);
    EXPECT_EQ(clock.now() - before, interval);
}

/// The waits are long, so that the follower only comes back because the time has moved. It goes on
/// looking until nobody waits for it.
TEST(LeapingClock, LetsItsFollowerLookAroundInTheMiddleOfALeap) {
    constexpr std::chrono::minutes interval{1};
    LeapingClock clock(std::chrono::hours(1));
    std::vector<Platform::Clock::TimePoint> looks;
    std::atomic<bool> hasLooked{false};
    std::atomic<bool> hasLeapt{false};
    std::thread follower([&] {
        while (looks.size() < 3) {
            clock.follower().sleepFor(interval);
            looks.push_back(clock.now());
        }
        hasLooked = true;
        while (!hasLeapt) {
            clock.follower().sleepFor(LeapingClock::shortestLook);
        }
    });
    while (!hasLooked) {
        clock.sleepFor(4 * interval);
        pauseBetweenLeaps();
    }
    hasLeapt = true;
    follower.join();
    EXPECT_EQ(looks[1] - looks[0], interval);
    EXPECT_EQ(looks[2] - looks[1], interval);
}

} // namespace Quarlen::Ctl::Tests
