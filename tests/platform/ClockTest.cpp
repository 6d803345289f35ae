#include "platform/Clock.hpp"

#include <gtest/gtest.h>

using namespace Quarlen::Platform;
using namespace std::chrono_literals;

namespace {

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
