#include "simulation/SimulatedControlUnit.hpp"

#include "tests/simulation/ControlUnitFixture.hpp"

namespace Quarlen::Simulation::Tests {
namespace {

class DefaultSession : public ControlUnitFixture, public testing::WithParamInterface<Exchange> {};

TEST_P(DefaultSession, AnswersAsTheStandardSays) {
    EXPECT_EQ(ask(GetParam().request), GetParam().response);
}

constexpr auto noResponse = "";

INSTANTIATE_TEST_SUITE_P(Dispatch, DefaultSession,
                         testing::Values(Exchange{"", noResponse}, Exchange{"01", "7F 01 11"},
                                         Exchange{"2A 01 01", "7F 2A 11"},
                                         Exchange{"10", "7F 10 13"}, Exchange{"3E", "7F 3E 13"},
                                         Exchange{"31", "7F 31 13"}, Exchange{"27 01", "7F 27 7F"},
                                         Exchange{"34 00 11 10 10", "7F 34 7F"},
                                         Exchange{"36 01 00", "7F 36 7F"},
                                         Exchange{"37", "7F 37 7F"}));

INSTANTIATE_TEST_SUITE_P(
    SessionControl, DefaultSession,
    testing::Values(Exchange{"10 01", "50 01 00 32 01 F4"}, Exchange{"10 02", "50 02 00 32 01 F4"},
                    Exchange{"10 03", "50 03 00 32 01 F4"}, Exchange{"10 83", noResponse},
                    Exchange{"10 00", "7F 10 12"}, Exchange{"10 04", "7F 10 12"},
                    Exchange{"10 84", "7F 10 12"}, Exchange{"10 04 00", "7F 10 12"},
                    Exchange{"10 03 00", "7F 10 13"}));

INSTANTIATE_TEST_SUITE_P(Reset, DefaultSession,
                         testing::Values(Exchange{"11 01", "51 01"}, Exchange{"11 02", "51 02"},
                                         Exchange{"11 03", "51 03"}, Exchange{"11 81", noResponse},
                                         Exchange{"11 00", "7F 11 12"},
                                         Exchange{"11 04", "7F 11 12"},
                                         Exchange{"11 01 00", "7F 11 13"}));

INSTANTIATE_TEST_SUITE_P(TesterPresent, DefaultSession,
                         testing::Values(Exchange{"3E 00", "7E 00"}, Exchange{"3E 80", noResponse},
                                         Exchange{"3E 01", "7F 3E 12"},
                                         Exchange{"3E 81", "7F 3E 12"},
                                         Exchange{"3E 00 00", "7F 3E 13"}));

INSTANTIATE_TEST_SUITE_P(
    ReadDtcInformation, DefaultSession,
    testing::Values(Exchange{"19 01 FF", "59 01 FF 00 00 03"},
                    Exchange{"19 01 08", "59 01 FF 00 00 01"},
                    Exchange{"19 01 80", "59 01 FF 00 00 00"},
                    Exchange{"19 02 04", "59 02 FF 03 01 00 2F 01 71 00 24"},
                    Exchange{"19 02 40", "59 02 FF 04 20 00 50"}, Exchange{"19 02 00", "59 02 FF"},
                    Exchange{"19 82 FF", noResponse},
                    Exchange{"19 0A", "59 0A FF 03 01 00 2F 01 71 00 24 04 20 00 50"},
                    Exchange{"19", "7F 19 13"}, Exchange{"19 01", "7F 19 13"},
                    Exchange{"19 02 FF FF", "7F 19 13"}, Exchange{"19 0A FF", "7F 19 13"},
                    Exchange{"19 03", "7F 19 12"}));

INSTANTIATE_TEST_SUITE_P(
    ClearFaults, DefaultSession,
    testing::Values(Exchange{"14 FF FF FF", "54"}, Exchange{"14 03 01 00", "54"},
                    Exchange{"14 03 01 01", "7F 14 31"}, Exchange{"14 FF FF", "7F 14 13"},
                    Exchange{"14 FF FF FF 00", "7F 14 13"}, Exchange{"14", "7F 14 13"}));

INSTANTIATE_TEST_SUITE_P(ReadData, DefaultSession,
                         testing::Values(Exchange{"22 F1 90", "62 F1 90 56 49 4E"},
                                         Exchange{"22 01 00 F1 90", "62 01 00 07 F1 90 56 49 4E"},
                                         Exchange{"22 12 34 01 00", "62 01 00 07"},
                                         Exchange{"22 12 34", "7F 22 31"},
                                         Exchange{"22", "7F 22 13"}, Exchange{"22 F1", "7F 22 13"},
                                         Exchange{"22 F1 90 01", "7F 22 13"}));

INSTANTIATE_TEST_SUITE_P(WriteData, DefaultSession,
                         testing::Values(Exchange{"2E 01 00 2A", "6E 01 00"},
                                         Exchange{"2E 01 00", "7F 2E 13"},
                                         Exchange{"2E 01 00 01 02", "7F 2E 13"},
                                         Exchange{"2E F1 90 41 42 43", "7F 2E 31"},
                                         Exchange{"2E 12 34 00", "7F 2E 31"},
                                         Exchange{"2E F1 5A 01 02", "7F 2E 31"}));

INSTANTIATE_TEST_SUITE_P(
    RoutineControl, DefaultSession,
    testing::Values(Exchange{"31 01 02", "7F 31 13"}, Exchange{"31 01 12 34", "7F 31 31"},
                    Exchange{"31 01 02 03", "7F 31 31"}, Exchange{"31 02 02 04", "7F 31 12"},
                    Exchange{"31 03 02 04", "7F 31 24"}, Exchange{"31 01 02 04 00", "7F 31 13"},
                    Exchange{"31 01 FF 00", "7F 31 31"},
                    Exchange{"31 01 02 02 00 00 00 00", "7F 31 31"}));

class ExtendedSession : public ControlUnitFixture, public testing::WithParamInterface<Exchange> {};

TEST_P(ExtendedSession, AnswersAsTheStandardSays) {
    ask("10 03");
    EXPECT_EQ(ask(GetParam().request), GetParam().response);
}

INSTANTIATE_TEST_SUITE_P(
    Requests, ExtendedSession,
    testing::Values(Exchange{"2E F1 5A 01 02", "7F 2E 33"}, Exchange{"2E F1 5A 01", "7F 2E 13"},
                    Exchange{"31 01 02 03", "71 01 02 03 AA"}, Exchange{"31 81 02 03", noResponse},
                    Exchange{"31 01 02 05", "7F 31 33"}, Exchange{"31 01 FF 00", "7F 31 31"},
                    Exchange{"27", "7F 27 13"}, Exchange{"27 05", "7F 27 12"},
                    Exchange{"27 00", "7F 27 12"}, Exchange{"27 01 00", "7F 27 13"},
                    Exchange{"27 02", "7F 27 13"}, Exchange{"27 02 01 02 03 04", "7F 27 24"},
                    Exchange{"36 01 00", "7F 36 7F"}));

class ProgrammingSession : public ControlUnitFixture,
                           public testing::WithParamInterface<Exchange> {};

TEST_P(ProgrammingSession, RefusesWhileLocked) {
    ask("10 02");
    EXPECT_EQ(ask(GetParam().request), GetParam().response);
}

INSTANTIATE_TEST_SUITE_P(Requests, ProgrammingSession,
                         testing::Values(Exchange{"31 01 FF 00", "7F 31 33"},
                                         Exchange{"31 01 02 02 00 00 00 00", "7F 31 33"},
                                         Exchange{"34 00 22 10 00 01 00", "7F 34 33"},
                                         Exchange{"36 01 00", "7F 36 24"},
                                         Exchange{"37", "7F 37 24"}));

class SimulatedControlUnitTest : public ControlUnitFixture {};

TEST_F(SimulatedControlUnitTest, KeepsAWrittenValue) {
    ask("10 03");
    unlock(1, 0x5A3C96E1);
    EXPECT_EQ(ask("2E F1 5A BE EF"), "6E F1 5A");
    ask("10 01");
    EXPECT_EQ(ask("22 F1 5A"), "62 F1 5A BE EF");
}

TEST_F(SimulatedControlUnitTest, DoesNotTakeAnotherLevelForTheOneThatIsNeeded) {
    ask("10 03");
    unlock(3, 0x01020304);
    EXPECT_EQ(ask("2E F1 5A BE EF"), "7F 2E 33");
}

TEST_F(SimulatedControlUnitTest, ClearsAllFaultsButKeepsThemSupported) {
    ask("14 FF FF FF");
    EXPECT_EQ(ask("19 02 2F"), "59 02 FF");
    EXPECT_EQ(ask("19 0A"), "59 0A FF 03 01 00 50 01 71 00 50 04 20 00 50");
}

TEST_F(SimulatedControlUnitTest, ClearsOneFault) {
    ask("14 03 01 00");
    EXPECT_EQ(ask("19 02 2F"), "59 02 FF 01 71 00 24");
}

TEST_F(SimulatedControlUnitTest, GivesARoutinesResultOnceItHasRun) {
    ask("10 03");
    EXPECT_EQ(ask("31 03 02 03"), "7F 31 24");
    ask("31 01 02 03");
    EXPECT_EQ(ask("31 03 02 03"), "71 03 02 03 AA");
}

TEST_F(SimulatedControlUnitTest, LocksAndLeavesTheSessionOnAReset) {
    ask("10 03");
    unlock(1, 0x5A3C96E1);
    ask("11 01");
    EXPECT_EQ(ask("27 01"), "7F 27 7F");
    ask("10 03");
    EXPECT_EQ(ask("2E F1 5A 01 02"), "7F 2E 33");
}

TEST_F(SimulatedControlUnitTest, LocksWhenTheSameSessionIsEnteredAgain) {
    ask("10 03");
    unlock(1, 0x5A3C96E1);
    ask("10 03");
    EXPECT_EQ(ask("31 01 02 05"), "7F 31 33");
}

TEST_F(SimulatedControlUnitTest, RefusesAResponseThatDoesNotFitIntoOneMessage) {
    auto description = smallControlUnit();
    description.dataIdentifiers.push_back({0x0200, Uds::Bytes(3000, 0x55), false, {}});
    SimulatedControlUnit large(description, clock);
    EXPECT_EQ(large.handle(hex("22 02 00")).front().bytes.size(), 3003U);
    EXPECT_EQ(hex(large.handle(hex("22 02 00 02 00")).front().bytes), "7F 22 14");
}

TEST_F(SimulatedControlUnitTest, OffersNoSecurityAndNoFlashServicesThatItDoesNotHave) {
    auto description = smallControlUnit();
    description.securityLevels.clear();
    description.flashMemories.clear();
    SimulatedControlUnit plain(description, clock);
    plain.handle(hex("10 02"));
    EXPECT_EQ(hex(plain.handle(hex("27 01")).front().bytes), "7F 27 11");
    EXPECT_EQ(hex(plain.handle(hex("34 00 11 10 10")).front().bytes), "7F 34 11");
    EXPECT_EQ(hex(plain.handle(hex("31 01 FF 00")).front().bytes), "7F 31 31");
}

} // namespace
} // namespace Quarlen::Simulation::Tests
