#include "platform/ConnectionSocket.hpp"

#include <gtest/gtest.h>

#include "platform/ListeningSocket.hpp"

namespace Quarlen::Platform::Tests {

namespace {

using std::chrono::milliseconds;

TEST(ReadingTime, IsTwoSecondsForAnEmptyReply) {
    EXPECT_EQ(readingTime(0), milliseconds(2000));
}

TEST(ReadingTime, GrowsByASecondWithEach64000Bytes) {
    EXPECT_EQ(readingTime(64'000), milliseconds(3000));
    EXPECT_EQ(readingTime(32'000), milliseconds(2500));
    EXPECT_EQ(readingTime(6'400'000), milliseconds(102'000));
}

TEST(ResetAtAStop, HappensWhereOldConnectionsKeepTheAddressUnlessTheReplyIsLong) {
    EXPECT_EQ(isResetAtStop(0), oldConnectionsKeepTheAddress());
    EXPECT_EQ(isResetAtStop(64'000), oldConnectionsKeepTheAddress());
    EXPECT_FALSE(isResetAtStop(64'001));
}

} // namespace

} // namespace Quarlen::Platform::Tests
