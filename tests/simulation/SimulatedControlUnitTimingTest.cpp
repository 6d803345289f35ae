#include "simulation/SimulatedControlUnit.hpp"
#include "tests/simulation/ControlUnitFixture.hpp"

namespace Quarlen::Simulation::Tests {
namespace {

using namespace std::chrono_literals;

class SimulatedControlUnitTiming : public ControlUnitFixture {
protected:
    static std::vector<std::chrono::milliseconds>
    delays(const std::vector<TimedResponse>& responses, Platform::Clock::TimePoint origin) {
        std::vector<std::chrono::milliseconds> result;
        for (const auto& response : responses) {
            result.push_back(
                std::chrono::duration_cast<std::chrono::milliseconds>(response.due - origin));
        }
        return result;
    }
};

TEST_F(SimulatedControlUnitTiming, AnswersAfterItsResponseDelay) {
    auto description = smallControlUnit();
    description.responseDelay = 7ms;
    SimulatedControlUnit slow(description, clock);
    const auto responses = slow.handle(hex("3E 00"));
    EXPECT_EQ(delays(responses, clock.now()), (std::vector{7ms}));
}

TEST_F(SimulatedControlUnitTiming, SendsResponsePendingWhileARoutineLasts) {
    const auto responses = unit->handle(hex("31 01 02 04"));
    EXPECT_EQ(delays(responses, clock.now()), (std::vector{0ms, 2000ms, 4000ms, 4500ms}));
    EXPECT_EQ(hex(responses[0].bytes), "7F 31 78");
    EXPECT_EQ(hex(responses[2].bytes), "7F 31 78");
    EXPECT_EQ(hex(responses[3].bytes), "71 01 02 04");
}

TEST_F(SimulatedControlUnitTiming, SendsTheSuppressedResponseOfARoutineThatNeededTime) {
    EXPECT_EQ(ask("31 81 02 04"), "7F 31 78|7F 31 78|7F 31 78|71 01 02 04");
}

TEST_F(SimulatedControlUnitTiming, IsBusyUntilTheRoutineHasEnded) {
    ask("31 01 02 04");
    clock.advance(4499ms);
    EXPECT_EQ(ask("22 F1 90"), "7F 22 21");
    EXPECT_EQ(ask("3E 80"), "");
    clock.advance(1ms);
    EXPECT_EQ(ask("22 F1 90"), "62 F1 90 56 49 4E");
}

TEST_F(SimulatedControlUnitTiming, IsNotBusyWhileAQuickResponseIsOnItsWay) {
    auto description = smallControlUnit();
    description.responseDelay = 50ms;
    SimulatedControlUnit slow(description, clock);
    slow.handle(hex("3E 00"));
    EXPECT_EQ(hex(slow.handle(hex("3E 00")).front().bytes), "7E 00");
}

TEST_F(SimulatedControlUnitTiming, KeepsTheSessionForFiveSeconds) {
    ask("10 03");
    unlock(1, 0x5A3C96E1);
    clock.advance(5000ms);
    EXPECT_EQ(ask("31 01 02 05"), "71 01 02 05");
}

TEST_F(SimulatedControlUnitTiming, FallsBackToTheDefaultSessionAfterFiveSeconds) {
    ask("10 03");
    unlock(1, 0x5A3C96E1);
    clock.advance(5001ms);
    EXPECT_EQ(ask("27 01"), "7F 27 7F");
    ask("10 03");
    EXPECT_EQ(ask("31 01 02 05"), "7F 31 33");
}

TEST_F(SimulatedControlUnitTiming, StaysInTheSessionWithTesterPresent) {
    ask("10 03");
    for (int count = 0; count < 5; ++count) {
        clock.advance(4000ms);
        ask("3E 80");
    }
    EXPECT_EQ(ask("31 01 02 03"), "71 01 02 03 AA");
}

TEST_F(SimulatedControlUnitTiming, CountsTheSessionTimeoutFromTheEndOfALongRoutine) {
    ask("10 03");
    ask("31 01 02 04");
    clock.advance(9000ms);
    EXPECT_EQ(ask("31 01 02 03"), "71 01 02 03 AA");
}

TEST_F(SimulatedControlUnitTiming, EndsARunningDownloadWithTheSession) {
    enterProgramming();
    ask("31 01 FF 00");
    clock.advance(1000ms);
    ask("34 00 22 10 00 00 04");
    clock.advance(5001ms);
    enterProgramming();
    EXPECT_EQ(ask("36 01 00 00 00 00"), "7F 36 24");
}

} // namespace
} // namespace Quarlen::Simulation::Tests
