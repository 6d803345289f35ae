#include "simulation/FaultMemory.hpp"

#include "tests/simulation/ControlUnitFixture.hpp"

namespace Quarlen::Simulation::Tests {
namespace {

/// One DTC of each letter but B; the first has records, the second a freeze frame without counters.
ControlUnitDescription unitWithRecords() {
    auto unit = smallControlUnit();
    unit.dtcs = {{0x030100, 0x2F}, {0x403500, 0x28}, {0xC10000, 0x28}};
    unit.dtcs[0].freezeFrames = {{1, {{0xF40C, {0x1A, 0xF8}}, {0xF40D, {0x32}}}},
                                 {2, {{0xF40D, {0x50}}}}};
    unit.dtcs[0].extendedData = {{1, {3}}, {2, {0}}, {0x10, {0xAA, 0xBB}}};
    unit.dtcs[1].freezeFrames = {{2, {{0xF40D, {0x60}}}}};
    return unit;
}

class FaultMemoryRequest : public ControlUnitFixture, public testing::WithParamInterface<Exchange> {
protected:
    void SetUp() override {
        unit = std::make_unique<SimulatedControlUnit>(unitWithRecords(), clock);
    }
};

TEST_P(FaultMemoryRequest, IsAnsweredAsTheStandardSays) {
    EXPECT_EQ(ask(GetParam().request), GetParam().response);
}

INSTANTIATE_TEST_SUITE_P(
    FreezeFrames, FaultMemoryRequest,
    testing::Values(
        Exchange{"19 04 03 01 00 01", "59 04 03 01 00 2F 01 02 F4 0C 1A F8 F4 0D 32"},
        Exchange{"19 04 03 01 00 02", "59 04 03 01 00 2F 02 01 F4 0D 50"},
        Exchange{"19 04 03 01 00 FF",
                 "59 04 03 01 00 2F 01 02 F4 0C 1A F8 F4 0D 32 02 01 F4 0D 50"},
        Exchange{"19 04 40 35 00 01", "59 04 40 35 00 28"},
        Exchange{"19 04 C1 00 00 FF", "59 04 C1 00 00 28"},
        Exchange{"19 04 03 01 00 03", "7F 19 31"}, Exchange{"19 04 03 01 00 00", "7F 19 31"},
        Exchange{"19 04 03 01 01 01", "7F 19 31"}, Exchange{"19 04 FF FF FF FF", "7F 19 31"},
        Exchange{"19 04 03 01 00", "7F 19 13"}, Exchange{"19 04 03 01 00 01 00", "7F 19 13"},
        Exchange{"19 84 03 01 00 01", ""}, Exchange{"19 84 03 01 00 03", "7F 19 31"}));

INSTANTIATE_TEST_SUITE_P(
    ExtendedData, FaultMemoryRequest,
    testing::Values(Exchange{"19 06 03 01 00 01", "59 06 03 01 00 2F 01 03"},
                    Exchange{"19 06 03 01 00 02", "59 06 03 01 00 2F 02 00"},
                    Exchange{"19 06 03 01 00 FF", "59 06 03 01 00 2F 01 03 02 00 10 AA BB"},
                    Exchange{"19 06 40 35 00 01", "59 06 40 35 00 28"},
                    Exchange{"19 06 03 01 00 11", "7F 19 31"}, Exchange{"19 06 03", "7F 19 13"}));

INSTANTIATE_TEST_SUITE_P(Groups, FaultMemoryRequest,
                         testing::Values(Exchange{"14 00 00 00", "54"},
                                         Exchange{"14 40 00 00", "54"},
                                         Exchange{"14 80 00 00", "7F 14 31"},
                                         Exchange{"14 C0 00 00", "54"},
                                         Exchange{"14 FF FF 33", "7F 14 31"}));

TEST_F(FaultMemoryRequest, TellsTheFormatOfItsCodesAndUsesOnlyTheStatusBitsThatItHas) {
    auto description = unitWithRecords();
    description.dtcFormat = 0x02;
    description.statusAvailability = 0x19;
    unit = std::make_unique<SimulatedControlUnit>(description, clock);
    EXPECT_EQ(ask("19 01 04"), "59 01 19 02 00 00");
    EXPECT_EQ(ask("19 02 01"), "59 02 19 03 01 00 09");
    EXPECT_EQ(ask("19 0A"), "59 0A 19 03 01 00 09 40 35 00 08 C1 00 00 08");
    ask("14 FF FF FF");
    EXPECT_EQ(ask("19 02 FF"), "59 02 19 03 01 00 10 40 35 00 10 C1 00 00 10");
}

TEST_F(FaultMemoryRequest, ClearsAllOfAMemoryWithoutFaults) {
    auto description = smallControlUnit();
    description.dtcs.clear();
    unit = std::make_unique<SimulatedControlUnit>(description, clock);
    EXPECT_EQ(ask("14 FF FF FF"), "54");
    EXPECT_EQ(ask("14 00 00 00"), "7F 14 31");
}

class FaultRecordsTest : public FaultMemoryRequest {};

TEST_F(FaultRecordsTest, GoWithTheirFaultWhileTheirNumbersStaySupported) {
    ask("14 03 01 00");
    EXPECT_EQ(ask("19 04 03 01 00 01"), "59 04 03 01 00 50");
    EXPECT_EQ(ask("19 06 03 01 00 FF"), "59 06 03 01 00 50");
    EXPECT_EQ(ask("19 04 40 35 00 02"), "59 04 40 35 00 28 02 01 F4 0D 60");
}

TEST_F(FaultRecordsTest, AreNoServiceOfAControlUnitWithoutAny) {
    unit = std::make_unique<SimulatedControlUnit>(smallControlUnit(), clock);
    EXPECT_EQ(ask("19 04 03 01 00 01"), "7F 19 12");
    EXPECT_EQ(ask("19 06 03 01 00 01"), "7F 19 12");
}

TEST_F(FaultRecordsTest, DoNotFitIntoOneMessageWithoutALimit) {
    auto description = unitWithRecords();
    description.dtcs[0].extendedData = {{1, Uds::Bytes(4088, 0)}, {2, {0}}};
    unit = std::make_unique<SimulatedControlUnit>(description, clock);
    EXPECT_EQ(ask("19 06 03 01 00 01").size(), 4095U * 3 - 1);
    EXPECT_EQ(ask("19 06 03 01 00 FF"), "7F 19 14");
}

TEST_F(FaultRecordsTest, OfOneGroupAreClearedWithoutTheOthers) {
    ask("14 00 00 00");
    EXPECT_EQ(ask("19 0A"), "59 0A FF 03 01 00 50 40 35 00 28 C1 00 00 28");
    ask("14 C0 00 00");
    EXPECT_EQ(ask("19 0A"), "59 0A FF 03 01 00 50 40 35 00 28 C1 00 00 50");
    ask("14 40 00 00");
    EXPECT_EQ(ask("19 0A"), "59 0A FF 03 01 00 50 40 35 00 50 C1 00 00 50");
}

} // namespace
} // namespace Quarlen::Simulation::Tests
