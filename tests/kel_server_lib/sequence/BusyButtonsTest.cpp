#include <atomic>
#include <chrono>
#include <thread>

#include "tests/kel_server_lib/sequence/SequenceFixture.hpp"

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

/// Two threads that go on at the same moment, again and again. A lock would let them go on one
/// after the other.
class Rendezvous {
public:
    void meet() {
        const unsigned bothArrived = (arrivals++ / 2 + 1) * 2;
        while (arrivals < bothArrived) {
            std::this_thread::yield();
        }
    }

private:
    std::atomic<unsigned> arrivals{0};
};

TEST_F(BusyButtons, OnlyOneOfTwoThreadsSucceedsAtATime) {
    Rendezvous rendezvous;
    std::atomic<bool> goOn{true};
    bool f2Succeeded = false;
    std::jthread f2Thread([&] {
        for (rendezvous.meet(); goOn; rendezvous.meet()) {
            f2Succeeded = handler.makeBusy(handler.f2);
            rendezvous.meet();
        }
    });
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(300);
    bool always = true;
    while (always && std::chrono::steady_clock::now() < end) {
        handler.f1.busy = false;
        handler.f2.busy = false;
        rendezvous.meet();
        const bool f1Succeeded = handler.makeBusy(handler.f1);
        rendezvous.meet();
        always = f1Succeeded != f2Succeeded;
    }
    goOn = false;
    rendezvous.meet();

    EXPECT_TRUE(always);
}

} // namespace Quarlen::Tests
