#include "platform/windows/StopEvents.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

using Answer = StopEvents::Answer;

class StopEvent : public testing::Test {
protected:
    std::shared_ptr<std::atomic<bool>> flag = std::make_shared<std::atomic<bool>>(false);
    StopEvents events{flag};
};

TEST_F(StopEvent, RaisesTheFlagAtAKeyAndGoesOn) {
    EXPECT_EQ(events.onEvent(CTRL_C_EVENT), Answer::GoOn);

    EXPECT_TRUE(flag->load());
}

TEST_F(StopEvent, RaisesTheFlagAtTheOtherKeyAndGoesOn) {
    EXPECT_EQ(events.onEvent(CTRL_BREAK_EVENT), Answer::GoOn);

    EXPECT_TRUE(flag->load());
}

TEST_F(StopEvent, EndsTheProcessAtTheSecondKey) {
    events.onEvent(CTRL_C_EVENT);

    EXPECT_EQ(events.onEvent(CTRL_BREAK_EVENT), Answer::EndAtOnce);
}

class EndOfTheConsole : public StopEvent, public testing::WithParamInterface<DWORD> {};

TEST_P(EndOfTheConsole, IsAnsweredOnlyWhenTheProcessHasEnded) {
    EXPECT_EQ(events.onEvent(GetParam()), Answer::WaitForTheEnd);

    EXPECT_TRUE(flag->load());
}

TEST_P(EndOfTheConsole, DoesNotCutAShutdownThatAKeyHasBegun) {
    events.onEvent(CTRL_C_EVENT);

    EXPECT_EQ(events.onEvent(GetParam()), Answer::WaitForTheEnd);
}

INSTANTIATE_TEST_SUITE_P(Events, EndOfTheConsole,
                         testing::Values(CTRL_CLOSE_EVENT, CTRL_LOGOFF_EVENT, CTRL_SHUTDOWN_EVENT));

} // namespace

} // namespace Quarlen::Platform::Tests
