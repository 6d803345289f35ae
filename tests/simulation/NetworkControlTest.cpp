#include "simulation/NetworkControl.hpp"

#include "tests/simulation/ControlUnitFixture.hpp"

namespace Quarlen::Simulation::Tests {
namespace {

using namespace std::chrono_literals;

class NetworkControlRequest : public ControlUnitFixture,
                              public testing::WithParamInterface<Exchange> {
protected:
    void SetUp() override { ask("10 03"); }
};

TEST_P(NetworkControlRequest, IsAnsweredAsTheStandardSays) {
    EXPECT_EQ(ask(GetParam().request), GetParam().response);
}

INSTANTIATE_TEST_SUITE_P(
    CommunicationControl, NetworkControlRequest,
    testing::Values(Exchange{"28 00 01", "68 00"}, Exchange{"28 01 02", "68 01"},
                    Exchange{"28 02 03", "68 02"}, Exchange{"28 03 03", "68 03"},
                    Exchange{"28 03 F1", "68 03"}, Exchange{"28 83 01", ""},
                    Exchange{"28 03 00", "7F 28 31"}, Exchange{"28 03 05", "7F 28 31"},
                    Exchange{"28 03 09", "7F 28 31"}, Exchange{"28 03 11", "7F 28 31"},
                    Exchange{"28 04 01 00 01", "7F 28 12"}, Exchange{"28 06 01", "7F 28 12"},
                    Exchange{"28", "7F 28 13"}, Exchange{"28 03", "7F 28 13"},
                    Exchange{"28 03 01 00", "7F 28 13"}));

INSTANTIATE_TEST_SUITE_P(ControlDtcSetting, NetworkControlRequest,
                         testing::Values(Exchange{"85 01", "C5 01"}, Exchange{"85 02", "C5 02"},
                                         Exchange{"85 82", ""}, Exchange{"85 00", "7F 85 12"},
                                         Exchange{"85 03", "7F 85 12"}, Exchange{"85", "7F 85 13"},
                                         Exchange{"85 02 FF", "7F 85 13"}));

class NetworkControlTest : public ControlUnitFixture {
protected:
    void SetUp() override { ask("10 03"); }

    bool isAsBefore() const {
        return unit->networkControl().communicates() && unit->networkControl().storesFaults();
    }
    bool isSwitchedOff() const {
        return !unit->networkControl().communicates() && !unit->networkControl().storesFaults();
    }
    void switchOff() {
        ask("85 82");
        ask("28 83 03");
        ASSERT_TRUE(isSwitchedOff());
    }
};

TEST_F(NetworkControlTest, IsNotOfferedInTheDefaultSession) {
    ask("10 01");
    EXPECT_EQ(ask("28 03 01"), "7F 28 7F");
    EXPECT_EQ(ask("85 02"), "7F 85 7F");
    EXPECT_TRUE(isAsBefore());
}

TEST_F(NetworkControlTest, LastsUntilItIsTakenBack) {
    switchOff();
    ask("85 01");
    EXPECT_TRUE(unit->networkControl().storesFaults());
    ask("28 00 01");
    EXPECT_FALSE(unit->networkControl().communicates());
    ask("28 00 02");
    EXPECT_TRUE(isAsBefore());
}

TEST_F(NetworkControlTest, IsNoCommunicationWhereOneDirectionIsSwitchedOff) {
    for (const char* const oneDirection : {"28 01 01", "28 02 01"}) {
        ask(oneDirection);
        EXPECT_FALSE(unit->networkControl().communicates()) << oneDirection;
        ask("28 00 01");
        EXPECT_TRUE(unit->networkControl().communicates()) << oneDirection;
    }
}

TEST_F(NetworkControlTest, AddsOneKindOfMessagesToTheOther) {
    ask("28 03 01");
    ask("28 03 02");
    ask("28 00 02");
    EXPECT_FALSE(unit->networkControl().communicates());
    ask("28 00 01");
    EXPECT_TRUE(unit->networkControl().communicates());
}

TEST_F(NetworkControlTest, LastsOverAChangeToTheProgrammingSession) {
    switchOff();
    ask("10 02");
    EXPECT_TRUE(isSwitchedOff());
}

TEST_F(NetworkControlTest, EndsWithTheDefaultSessionHoweverThatComes) {
    switchOff();
    ask("10 01");
    EXPECT_TRUE(isAsBefore());
    ask("10 03");
    switchOff();
    ask("11 01");
    EXPECT_TRUE(isAsBefore());
    ask("10 03");
    switchOff();
    clock.advance(5001ms);
    ask("3E 00");
    EXPECT_TRUE(isAsBefore());
}

TEST_F(NetworkControlTest, IsNotChangedByARefusedRequest) {
    ask("28 03 00");
    ask("85 02 FF");
    EXPECT_TRUE(isAsBefore());
}

} // namespace
} // namespace Quarlen::Simulation::Tests
