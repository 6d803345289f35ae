#include "platform/LocalTime.hpp"

#include <array>
#include <limits>

#include <gtest/gtest.h>

#include "tests/support/windows/TimeZoneVariable.hpp"

namespace Quarlen::Platform::Tests {

namespace {

constexpr std::time_t moment = 1767323045; // 2026-01-02 03:04:05 UTC

std::array<int, 8> fieldsOf(const std::tm& time) {
    return {time.tm_year, time.tm_mon, time.tm_mday, time.tm_hour,
            time.tm_min,  time.tm_sec, time.tm_wday, time.tm_yday};
}

TEST(LocalTime, DoesNotFollowTheVariableTz) {
    const auto before = localTime(moment);
    const Quarlen::Tests::TimeZoneVariable variable("KEL-5:30");

    EXPECT_EQ(fieldsOf(localTime(moment)), fieldsOf(before));
    EXPECT_EQ(offsetFromUtc(localTime(moment), moment), offsetFromUtc(before, moment));
}

TEST(LocalTime, HasDayOfWeekAndYearOfItsDate) {
    using namespace std::chrono;
    for (const std::time_t each : {moment, moment - 86'400 * 400, std::time_t{0}, -moment}) {
        const std::tm time = localTime(each);
        const sys_days date = year(time.tm_year + 1900) / (time.tm_mon + 1) / time.tm_mday;
        EXPECT_EQ(static_cast<unsigned>(time.tm_wday), weekday(date).c_encoding());
        const auto begin = sys_days(year(time.tm_year + 1900) / January / 1);
        EXPECT_EQ(time.tm_yday, (date - begin).count());
        EXPECT_LT(abs(offsetFromUtc(time, each)), hours(24));
    }
}

TEST(LocalTime, IsZeroForAMomentThatTheSystemCannotExpress) {
    for (const std::time_t each :
         {std::numeric_limits<std::time_t>::min(), std::numeric_limits<std::time_t>::max()}) {
        EXPECT_EQ(fieldsOf(localTime(each)), (std::array<int, 8>{}));
    }
}

} // namespace

} // namespace Quarlen::Platform::Tests
