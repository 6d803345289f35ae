#include "simulation/DeliberateFaults.hpp"

#include "tests/simulation/ControlUnitFixture.hpp"
#include "uds/LinkError.hpp"

namespace Quarlen::Simulation::Tests {
namespace {

TEST(DeliberateFaults, LeaveOtherRequestsAlone) {
    DeliberateFaults faults({{hex("36 05"), hex("7F 36 73"), false, 0, {}}});
    EXPECT_EQ(faults.next(hex("36 04 00")), nullptr);
    EXPECT_EQ(faults.next(hex("36")), nullptr);
    ASSERT_NE(faults.next(hex("36 05 00")), nullptr);
    EXPECT_EQ(hex(faults.next(hex("36 05 00"))->response), "7F 36 73");
}

TEST(DeliberateFaults, BeginAfterSoManyGoodRequestsAndEndAgain) {
    DeliberateFaults faults({{hex("36"), {}, false, 2, 2U}});
    std::string pattern;
    for (int count = 0; count < 6; ++count) {
        pattern += faults.next(hex("36 01")) != nullptr ? 'x' : '.';
    }
    EXPECT_EQ(pattern, "..xx..");
}

TEST(DeliberateFaults, TakeTheFirstOfTwoThatMatch) {
    DeliberateFaults faults({{hex("22"), hex("7F 22 22"), false, 0, {}},
                             {hex("22 F1"), hex("7F 22 31"), false, 0, {}}});
    EXPECT_EQ(hex(faults.next(hex("22 F1 90"))->response), "7F 22 22");
}

class FaultyControlUnit : public ControlUnitFixture {
protected:
    void give(const FaultDescription& fault) {
        auto description = smallControlUnit();
        description.faults = {fault};
        unit = std::make_unique<SimulatedControlUnit>(description, clock);
    }
};

TEST_F(FaultyControlUnit, AnswersAsDescribed) {
    give({hex("22 F1 90"), hex("7F 22 22"), false, 0, 1U});
    EXPECT_EQ(ask("22 F1 90"), "7F 22 22");
    EXPECT_EQ(ask("22 F1 90"), "62 F1 90 56 49 4E");
}

TEST_F(FaultyControlUnit, IsSilentWithoutAResponse) {
    give({hex("3E"), {}, false, 0, {}});
    EXPECT_EQ(ask("3E 00"), "");
}

TEST_F(FaultyControlUnit, LosesTheLink) {
    give({hex("36"), {}, true, 0, {}});
    try {
        ask("36 01 00");
        FAIL() << "no exception";
    } catch (const Uds::ConnectionLost& error) {
        EXPECT_EQ(error.message(), L"the connection to UNIT on LINK was lost");
    }
}

} // namespace
} // namespace Quarlen::Simulation::Tests
