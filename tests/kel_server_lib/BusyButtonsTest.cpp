#include <barrier>
#include <thread>

#include "tests/kel_server_lib/SequenceFixture.hpp"

namespace Quarlen::Tests {

/// Which button may begin a run: one of the two at most is busy.
class BusyButtons : public SequenceFixture {};

TEST_F(BusyButtons, AButtonBecomesBusyWhenNeitherIs) {
    EXPECT_TRUE(handler.makeBusy(handler.f2));

    EXPECT_TRUE(handler.f2.busy);
    EXPECT_FALSE(handler.f1.busy);
}

TEST_F(BusyButtons, AButtonDoesNotBecomeBusyBesideTheOtherOne) {
    handler.f1.busy = true;

    EXPECT_FALSE(handler.makeBusy(handler.f2));

    EXPECT_FALSE(handler.f2.busy);
    EXPECT_TRUE(handler.f1.busy);
}

TEST_F(BusyButtons, ABusyButtonDoesNotBecomeBusyAgain) {
    handler.f1.busy = true;

    EXPECT_FALSE(handler.makeBusy(handler.f1));

    EXPECT_TRUE(handler.f1.busy);
}

TEST_F(BusyButtons, OnlyOneOfTwoThreadsSucceedsAtATime) {
    int successes = 0;
    int otherSuccesses = 0;
    int worst = 0;
    std::barrier<> together(2);
    constexpr int rounds = 2000;
    std::jthread other([&] {
        for (int round = 0; round < rounds; ++round) {
            together.arrive_and_wait();
            otherSuccesses = handler.makeBusy(handler.f2) ? 1 : 0;
            together.arrive_and_wait();
        }
    });
    for (int round = 0; round < rounds; ++round) {
        handler.f1.busy = false;
        handler.f2.busy = false;
        together.arrive_and_wait();
        successes = handler.makeBusy(handler.f1) ? 1 : 0;
        together.arrive_and_wait();
        worst = std::max(worst, successes + otherSuccesses);
    }

    EXPECT_EQ(worst, 1);
}

} // namespace Quarlen::Tests
