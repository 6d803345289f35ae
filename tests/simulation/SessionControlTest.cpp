#include "simulation/SessionControl.hpp"

#include "tests/simulation/ControlUnitFixture.hpp"

namespace Quarlen::Simulation::Tests {
namespace {

using namespace std::chrono_literals;

class ProgrammingFromExtended : public ControlUnitFixture {
protected:
    void SetUp() override {
        auto description = smallControlUnit();
        description.programmingFrom = ProgrammingFrom::Extended;
        unit = std::make_unique<SimulatedControlUnit>(description, clock);
    }
};

TEST_F(ProgrammingFromExtended, IsRefusedInTheDefaultSession) {
    EXPECT_EQ(ask("10 02"), "7F 10 7E");
    EXPECT_EQ(ask("10 82"), "7F 10 7E");
    EXPECT_EQ(ask("10 02 00"), "7F 10 7E");
    EXPECT_EQ(ask("22 F1 86"), "62 F1 86 01");
}

TEST_F(ProgrammingFromExtended, IsEnteredFromTheExtendedAndFromItself) {
    ask("10 03");
    EXPECT_EQ(ask("10 02"), "50 02 00 32 01 F4");
    EXPECT_EQ(ask("10 02"), "50 02 00 32 01 F4");
    ask("10 01");
    EXPECT_EQ(ask("10 02"), "7F 10 7E");
}

TEST_F(ProgrammingFromExtended, IsRefusedOnceTheExtendedSessionHasTimedOut) {
    ask("10 03");
    clock.advance(5001ms);
    EXPECT_EQ(ask("10 02"), "7F 10 7E");
}

class BootTime : public ControlUnitFixture {
protected:
    void SetUp() override {
        auto description = smallControlUnit();
        description.responseDelay = 10ms;
        description.bootTime = 1000ms;
        FaultDescription fault;
        fault.request = {0x22};
        fault.response = {0x7F, 0x22, 0x21};
        fault.times = 1;
        description.faults = {fault};
        unit = std::make_unique<SimulatedControlUnit>(description, clock);
    }
};

TEST_F(BootTime, LeavesEveryRequestUnansweredAfterAReset) {
    EXPECT_EQ(ask("11 01"), "51 01");
    clock.advance(1009ms);
    EXPECT_EQ(ask("3E 00"), "");
    EXPECT_EQ(ask("10 03"), "");
    EXPECT_EQ(ask("11 01"), "");
    clock.advance(1ms);
    EXPECT_EQ(ask("3E 00"), "7E 00");
    EXPECT_EQ(ask("22 F1 86"), "7F 22 21");
    EXPECT_EQ(ask("22 F1 86"), "62 F1 86 01");
}

TEST_F(BootTime, CountsNoRequestForADeliberateFault) {
    ask("11 81");
    EXPECT_EQ(ask("22 F1 86"), "");
    clock.advance(1010ms);
    EXPECT_EQ(ask("22 F1 86"), "7F 22 21");
}

TEST_F(BootTime, DoesNotFollowARefusedReset) {
    EXPECT_EQ(ask("11 04"), "7F 11 12");
    EXPECT_EQ(ask("11 01 00"), "7F 11 13");
    EXPECT_EQ(ask("3E 00"), "7E 00");
}

TEST_F(BootTime, IsNotThereWhenNoneIsDescribed) {
    auto description = smallControlUnit();
    description.responseDelay = 10ms;
    unit = std::make_unique<SimulatedControlUnit>(description, clock);
    ask("11 01");
    EXPECT_EQ(ask("3E 00"), "7E 00");
}

} // namespace
} // namespace Quarlen::Simulation::Tests
