#include "platform/Clock.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

using namespace std::chrono_literals;

TEST(SystemClock, SleepsAtLeastAsLongAsAsked) {
    const Clock::TimePoint start = systemClock().now();
    systemClock().sleepFor(5ms);
    EXPECT_GE(systemClock().now() - start, 5ms);
}

TEST(SystemClock, ReturnsAtOnceFromANegativeSleep) {
    const Clock::TimePoint start = systemClock().now();
    systemClock().sleepFor(-1h);
    EXPECT_LT(systemClock().now() - start, 1h);
}

TEST(SystemClock, IsOneObject) {
    EXPECT_EQ(&systemClock(), &systemClock());
}

} // namespace

} // namespace Quarlen::Platform::Tests
