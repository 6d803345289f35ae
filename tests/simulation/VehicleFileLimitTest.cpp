#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "simulation/VehicleFile.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "xml/FileError.hpp"

namespace Quarlen::Simulation::Tests {
namespace {

/// Of how many there may be.
class VehicleFileLimit : public testing::Test {
protected:
    static std::string faults(int count) {
        std::string text;
        for (int index = 0; index < count; ++index) {
            text += "<Fault request='22'/>\n";
        }
        return text;
    }
    static std::string memories(int count) {
        std::string text;
        for (int index = 0; index < count; ++index) {
            text += "<FlashMemory address='" + std::to_string(index) +
                    "' size='1' securityLevel='0'/>\n";
        }
        return text;
    }
    static std::string vehicle(int units, const std::string& elements) {
        std::string text = "<Vehicle vin='V'>\n";
        for (int index = 0; index < units; ++index) {
            const std::string number = std::to_string(index);
            text += "<ControlUnit name='" + number;
            text += "' address='" + number;
            text += "' link='" + number;
            text += "'>\n" + elements + "</ControlUnit>\n";
        }
        return text + "</Vehicle>";
    }
    [[nodiscard]] std::wstring messageFor(const std::string& content) const {
        try {
            readVehicleFile(folder.write("vehicle.xml", content));
        } catch (const Xml::FileError& error) {
            return error.message();
        }
        return {};
    }

    Quarlen::Tests::TemporaryFolder folder;
};

TEST_F(VehicleFileLimit, OfTheFaultsOfAControlUnitIsToldWithItsPlace) {
    EXPECT_EQ(messageFor(vehicle(1, faults(1000))), L"");
    EXPECT_THAT(
        messageFor(vehicle(1, faults(1001))),
        testing::EndsWith(L":1003:1: more faults than expected, at most 1000 in one control unit"));
}

TEST_F(VehicleFileLimit, OfTheFaultsOfAVehicleIsToldWithItsPlace) {
    EXPECT_EQ(messageFor(vehicle(100, faults(100))), L"");
    EXPECT_THAT(
        messageFor(vehicle(101, faults(100))),
        testing::EndsWith(L":10202:1: the vehicle has more faults than expected, at most 10000"));
}

TEST_F(VehicleFileLimit, OfTheFlashMemoriesOfAControlUnitIsToldWithItsPlace) {
    EXPECT_EQ(messageFor(vehicle(1, memories(64))), L"");
    EXPECT_THAT(messageFor(vehicle(1, memories(65))),
                testing::EndsWith(L":67:1: more flash memories than expected, at most 64 in one "
                                  L"control unit"));
}

TEST_F(VehicleFileLimit, OfTheFlashMemoriesOfAVehicleIsToldWithItsPlace) {
    EXPECT_EQ(messageFor(vehicle(100, memories(10))), L"");
    EXPECT_THAT(messageFor(vehicle(101, memories(10))),
                testing::EndsWith(
                    L":1202:1: the vehicle has more flash memories than expected, at most 1000"));
}

} // namespace
} // namespace Quarlen::Simulation::Tests
