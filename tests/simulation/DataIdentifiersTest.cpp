#include "simulation/DataIdentifiers.hpp"

#include "tests/simulation/ControlUnitFixture.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Simulation::Tests {
namespace {

using namespace std::chrono_literals;

class InputOutputControl : public ControlUnitFixture, public testing::WithParamInterface<Exchange> {
protected:
    void SetUp() override { ask("10 03"); }
};

TEST_P(InputOutputControl, IsAnsweredAsTheStandardSays) {
    EXPECT_EQ(ask(GetParam().request), GetParam().response);
}

INSTANTIATE_TEST_SUITE_P(
    Requests, InputOutputControl,
    testing::Values(Exchange{"2F 01 20 00", "6F 01 20 00 01 02"},
                    Exchange{"2F 01 20 02", "6F 01 20 02 01 02"},
                    Exchange{"2F 01 20 03 AA BB", "6F 01 20 03 AA BB"},
                    Exchange{"2F 01 20", "7F 2F 13"}, Exchange{"2F 01 20 00 01", "7F 2F 13"},
                    Exchange{"2F 01 20 02 01", "7F 2F 13"}, Exchange{"2F 01 20 03 AA", "7F 2F 13"},
                    Exchange{"2F 01 20 03 AA BB CC", "7F 2F 13"},
                    Exchange{"2F 01 20 01", "7F 2F 31"}, Exchange{"2F 01 20 04", "7F 2F 31"},
                    Exchange{"2F 01 00 00", "7F 2F 31"}, Exchange{"2F 12 34 00", "7F 2F 31"},
                    Exchange{"2F 01 21 00", "7F 2F 31"}, Exchange{"2F 01 22 00", "7F 2F 33"}));

class InputOutputControlTest : public InputOutputControl {};

TEST_F(InputOutputControlTest, ShowsWhatTheTesterHasPutInPlaceUntilItIsReturned) {
    ask("2F 01 20 03 AA BB");
    EXPECT_EQ(ask("22 01 20"), "62 01 20 AA BB");
    EXPECT_EQ(ask("2F 01 20 00"), "6F 01 20 00 01 02");
    EXPECT_EQ(ask("22 01 20"), "62 01 20 01 02");
}

TEST_F(InputOutputControlTest, FreezesTheValueThatIsShown) {
    ask("2F 01 20 02");
    ask("2E 01 20 07 08");
    EXPECT_EQ(ask("22 01 20"), "62 01 20 01 02");
    ask("2F 01 20 03 AA BB");
    EXPECT_EQ(ask("2F 01 20 02"), "6F 01 20 02 AA BB");
    EXPECT_EQ(ask("2F 01 20 00"), "6F 01 20 00 07 08");
}

TEST_F(InputOutputControlTest, LastsOverAChangeBetweenOtherSessions) {
    ask("2F 01 20 03 AA BB");
    ask("10 02");
    EXPECT_EQ(ask("22 01 20"), "62 01 20 AA BB");
}

TEST_F(InputOutputControlTest, EndsWithTheDefaultSessionHoweverThatComes) {
    ask("2F 01 20 03 AA BB");
    ask("10 01");
    EXPECT_EQ(ask("22 01 20"), "62 01 20 01 02");
    ask("10 03");
    ask("2F 01 20 03 AA BB");
    clock.advance(5001ms);
    EXPECT_EQ(ask("22 01 20"), "62 01 20 01 02");
}

TEST_F(InputOutputControlTest, IsNotOfferedInTheDefaultSession) {
    ask("10 01");
    EXPECT_EQ(ask("2F 01 20 00"), "7F 2F 7F");
}

TEST_F(InputOutputControlTest, IsNoServiceOfAControlUnitWithoutControllableData) {
    auto description = smallControlUnit();
    description.dataIdentifiers.resize(1);
    unit = std::make_unique<SimulatedControlUnit>(description, clock);
    ask("10 03");
    EXPECT_EQ(ask("2F 01 20 00"), "7F 2F 11");
}

class ActiveSession : public ControlUnitFixture {};

TEST_F(ActiveSession, CanAlwaysBeRead) {
    EXPECT_EQ(ask("22 F1 86"), "62 F1 86 01");
    ask("10 03");
    EXPECT_EQ(ask("22 F1 86"), "62 F1 86 03");
    ask("10 02");
    EXPECT_EQ(ask("22 F1 86"), "62 F1 86 02");
    clock.advance(5001ms);
    EXPECT_EQ(ask("22 F1 86"), "62 F1 86 01");
}

TEST_F(ActiveSession, IsNotChangedByARefusedRequest) {
    ask("10 02 00");
    EXPECT_EQ(ask("22 F1 86"), "62 F1 86 01");
}

TEST_F(ActiveSession, IsToldWhateverTheDescriptionSays) {
    auto description = smallControlUnit();
    description.dataIdentifiers = {{Uds::Did::activeSession, {0x55}, false, {}}};
    unit = std::make_unique<SimulatedControlUnit>(description, clock);
    EXPECT_EQ(ask("22 F1 86"), "62 F1 86 01");
}

} // namespace
} // namespace Quarlen::Simulation::Tests
