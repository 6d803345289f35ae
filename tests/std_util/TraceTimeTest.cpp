#include "std_util/TraceTime.hpp"

#include <gmock/gmock.h>

namespace StdUtil::Tests {

namespace {

using std::chrono::milliseconds;
using std::chrono::system_clock;

TEST(TraceTime, IsALocalTimeWithMillisecondsAndItsOffset) {
    EXPECT_THAT(TraceTime().text(system_clock::from_time_t(1767323045) + milliseconds(7)),
                testing::MatchesRegex("202.-..-.. ..:..:05\\.007...:.."));
}

TEST(TraceTime, IsTheSameWhateverWasAskedBefore) {
    const auto first = system_clock::from_time_t(1767323045);
    const auto next = first + milliseconds(1999);
    TraceTime times;
    times.text(first);

    EXPECT_EQ(times.text(next), TraceTime().text(next));
    EXPECT_NE(times.text(next).substr(0, 19), times.text(first).substr(0, 19));
    EXPECT_EQ(times.text(first), TraceTime().text(first));
}

} // namespace

} // namespace StdUtil::Tests
