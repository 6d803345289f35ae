#include "platform/LineEnds.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

TEST(LineEnds, GetAReturnEach) {
    EXPECT_EQ(LineEnds().withReturns("one\n\ntwo\n"), "one\r\n\r\ntwo\r\n");
}

TEST(LineEnds, GetNoSecondReturn) {
    EXPECT_EQ(LineEnds().withReturns("one\r\ntwo\n"), "one\r\ntwo\r\n");
}

TEST(LineEnds, GetNoSecondReturnAcrossTwoTexts) {
    LineEnds ends;
    EXPECT_EQ(ends.withReturns("one\r"), "one\r");
    EXPECT_EQ(ends.withReturns("\n\n"), "\n\r\n");
}

TEST(LineEnds, GetNoSecondReturnAfterATextThatNeededNone) {
    LineEnds ends;
    ends.note("one\r");
    ends.note("");
    EXPECT_EQ(ends.withReturns("\n"), "\n");
}

} // namespace

} // namespace Quarlen::Platform::Tests
