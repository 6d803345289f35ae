#include "simulation/VehicleCheck.hpp"

#include <gtest/gtest.h>

#include "simulation/VehicleFile.hpp"
#include "tests/support/TestPaths.hpp"

namespace Quarlen::Simulation::Tests {
namespace {

TEST(ImpossibleStatuses, AreToldWithTheirFaultAndTheReason) {
    ControlUnitDescription unit;
    unit.name = L"UNIT";
    unit.dtcs = {{0x030100, 0x2F}, {0x0A1B2C, 0x08}, {0x042000, 0x10}};
    const auto sentences = impossibleStatuses(unit);
    ASSERT_EQ(sentences.size(), 2U);
    EXPECT_EQ(sentences[0], L"the DTC 0A 1B 2C of \"UNIT\" has the status 0x08, which no tests "
                            L"lead to: confirmedDTC without testFailedSinceLastClear");
}

TEST(ImpossibleStatuses, AreNotInTheExamples) {
    const auto vehicle = readVehicleFile(Quarlen::Tests::examplesFolder() / "vehicle.xml");
    for (const auto& unit : vehicle.controlUnits) {
        EXPECT_FALSE(unit.dtcs.empty());
        EXPECT_TRUE(impossibleStatuses(unit).empty()) << unit.address;
    }
}

} // namespace
} // namespace Quarlen::Simulation::Tests
