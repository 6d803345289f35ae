#include "simulation/VehicleFile.hpp"

#include <set>
#include <string>

#include "tests/simulation/VehicleFileFixture.hpp"
#include "tests/support/HexBytes.hpp"
#include "tests/support/TestPaths.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Simulation::Tests {
namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;
using testing::HasSubstr;

TEST_F(VehicleFileTest, ReadsAControlUnit) {
    const auto vehicle = read(
        "<Vehicle vin='VIN1'><ControlUnit name='GW' address='0x0010' link='L1' responseDelay='2'/>"
        "</Vehicle>");
    EXPECT_EQ(vehicle.vin, L"VIN1");
    ASSERT_EQ(vehicle.controlUnits.size(), 1U);
    EXPECT_EQ(vehicle.controlUnits[0].name, L"GW");
    EXPECT_EQ(vehicle.controlUnits[0].address, 0x10);
    EXPECT_EQ(vehicle.controlUnits[0].link, L"L1");
    EXPECT_EQ(vehicle.controlUnits[0].responseDelay, 2ms);
}

TEST_F(VehicleFileTest, ReadsHowTheVehicleShowsItselfInANetwork) {
    const std::string unit = "><ControlUnit name='A' address='1' link='L'/></Vehicle>";
    const auto told = read("<Vehicle vin='V' gatewayAddress='0x2010' eid='02:00:00:00:aB:0f' "
                           "gid='00:11:22:33:44:55'" +
                           unit);
    EXPECT_EQ(told.gatewayAddress, 0x2010);
    EXPECT_EQ(told.eid, (EntityIdentifier{0x02, 0, 0, 0, 0xAB, 0x0F}));
    EXPECT_EQ(told.gid, (EntityIdentifier{0, 0x11, 0x22, 0x33, 0x44, 0x55}));
    const auto silent = read("<Vehicle vin='V'" + unit);
    EXPECT_EQ(silent.gatewayAddress, 0x1000);
    EXPECT_EQ(silent.eid, (EntityIdentifier{0x02, 0, 0, 0, 0, 0x01}));
    EXPECT_EQ(read("<Vehicle vin='V' eid='02:00:00:00:00:02'" + unit).gid,
              (EntityIdentifier{0x02, 0, 0, 0, 0, 0x02}));
}

TEST_F(VehicleFileTest, RefusesWhatNoGatewayIs) {
    const std::string unit = "><ControlUnit name='A' address='1' link='L'/></Vehicle>";
    for (const std::string attribute :
         {"gatewayAddress='0'", "gatewayAddress='0x0E80'", "gatewayAddress='0x8000'", "eid=''",
          "eid='02:00:00:00:00'", "eid='02:00:00:00:00:0G'", "eid='02-00-00-00-00-01'",
          "gid='02:00:00:00:00:011'"}) {
        EXPECT_THROW(read("<Vehicle vin='V' " + attribute + unit), Xml::FileError) << attribute;
    }
}

TEST_F(VehicleFileTest, ReadsHowAControlUnitStarts) {
    const auto vehicle =
        read("<Vehicle vin='V'><ControlUnit name='A' address='1' link='L' bootTime='1500' "
             "programmingFrom='extended' dtcFormat='0x02' statusAvailability='0x0F'/><ControlUnit "
             "name='B' address='2' link='M' "
             "programmingFrom='any'/><ControlUnit name='C' address='3' link='N'/></Vehicle>");
    EXPECT_EQ(vehicle.controlUnits.at(0).bootTime, 1500ms);
    EXPECT_EQ(vehicle.controlUnits.at(0).programmingFrom, ProgrammingFrom::Extended);
    EXPECT_EQ(vehicle.controlUnits.at(0).dtcFormat, 0x02);
    EXPECT_EQ(vehicle.controlUnits.at(0).statusAvailability, 0x0F);
    EXPECT_EQ(vehicle.controlUnits.at(1).programmingFrom, ProgrammingFrom::AnySession);
    EXPECT_EQ(vehicle.controlUnits.at(1).dtcFormat, 0x00);
    EXPECT_EQ(vehicle.controlUnits.at(1).statusAvailability, 0xFF);
    EXPECT_EQ(vehicle.controlUnits.at(2).bootTime, 0ms);
    EXPECT_EQ(vehicle.controlUnits.at(2).programmingFrom, ProgrammingFrom::AnySession);
}

TEST_F(VehicleFileTest, ReadsAVehicleWithoutControlUnits) {
    EXPECT_TRUE(read("<Vehicle vin='1'/>").controlUnits.empty());
}

TEST_F(VehicleFileTest, ReadsDataIdentifiersOfAllKinds) {
    const auto unit = readUnit("<DataIdentifier id='0xF187' text='AB'/>"
                               "<DataIdentifier id='0xF15A' bytes='00 FF' writable='true' "
                               "session='extended' securityLevel='1'/>"
                               "<DataIdentifier id='0xF190' vin='true'/>"
                               "<SecurityLevel level='1' keyMask='0x5A3C96E1'/>");
    ASSERT_EQ(unit.dataIdentifiers.size(), 3U);
    EXPECT_EQ(hex(unit.dataIdentifiers[0].value), "41 42");
    EXPECT_FALSE(unit.dataIdentifiers[0].writable);
    EXPECT_EQ(hex(unit.dataIdentifiers[1].value), "00 FF");
    EXPECT_TRUE(unit.dataIdentifiers[1].writable);
    EXPECT_EQ(unit.dataIdentifiers[1].writeAccess.session, Uds::Session::Extended);
    EXPECT_EQ(unit.dataIdentifiers[1].writeAccess.securityLevel, 1);
    EXPECT_EQ(hex(unit.dataIdentifiers[2].value), "56 49 4E 31");
    EXPECT_EQ(unit.securityLevels.at(0).keyMask, 0x5A3C96E1U);
}

TEST_F(VehicleFileTest, ReadsFaultsOfTheMemoryAndRoutines) {
    const auto unit = readUnit("<Dtc code='0x030100' status='0x2F'/>"
                               "<Routine id='0x0203' result='0A' duration='500' "
                               "session='programming'/>");
    ASSERT_EQ(unit.dtcs.size(), 1U);
    EXPECT_EQ(unit.dtcs[0].code, 0x030100U);
    EXPECT_EQ(unit.dtcs[0].status, 0x2F);
    ASSERT_EQ(unit.routines.size(), 1U);
    EXPECT_EQ(hex(unit.routines[0].result), "0A");
    EXPECT_EQ(unit.routines[0].duration, 500ms);
    EXPECT_EQ(unit.routines[0].access.session, Uds::Session::Programming);
}

TEST_F(VehicleFileTest, ReadsFreezeFramesAndExtendedData) {
    const auto unit = readUnit("<Dtc code='0x030100' status='0x2F' occurrences='3' ageing='0'>"
                               "<FreezeFrame record='2'><Data id='0xF40C' bytes='1A F8'/>"
                               "<Data id='1' text='A'/></FreezeFrame>"
                               "<ExtendedData record='0x10' bytes='AA BB'/></Dtc>");
    const auto& dtc = unit.dtcs.at(0);
    ASSERT_EQ(dtc.freezeFrames.size(), 1U);
    EXPECT_EQ(dtc.freezeFrames[0].number, 2);
    ASSERT_EQ(dtc.freezeFrames[0].data.size(), 2U);
    EXPECT_EQ(dtc.freezeFrames[0].data[0].id, 0xF40C);
    EXPECT_EQ(hex(dtc.freezeFrames[0].data[0].value), "1A F8");
    EXPECT_EQ(hex(dtc.freezeFrames[0].data[1].value), "41");
    ASSERT_EQ(dtc.extendedData.size(), 3U);
    EXPECT_EQ(dtc.extendedData[0].number, Uds::ExtendedDataRecord::occurrenceCounter);
    EXPECT_EQ(hex(dtc.extendedData[0].value), "03");
    EXPECT_EQ(dtc.extendedData[1].number, Uds::ExtendedDataRecord::ageingCounter);
    EXPECT_EQ(hex(dtc.extendedData[1].value), "00");
    EXPECT_EQ(dtc.extendedData[2].number, 0x10);
    EXPECT_EQ(hex(dtc.extendedData[2].value), "AA BB");
}

TEST_F(VehicleFileTest, ReadsWhatATesterMayControl) {
    const auto unit = readUnit("<DataIdentifier id='1' text='A' controllable='true'/>"
                               "<DataIdentifier id='2' text='A'/>");
    EXPECT_TRUE(unit.dataIdentifiers.at(0).controllable);
    EXPECT_FALSE(unit.dataIdentifiers.at(1).controllable);
}

std::string zeros(std::size_t bytes) {
    return std::string(bytes * 2, '0');
}

TEST_F(VehicleFileTest, TakesRecordsThatFitIntoOneResponse) {
    const auto record = [](std::size_t bytes) {
        return "<Dtc code='0x030100' status='0x2F'><ExtendedData record='1' bytes='" +
               zeros(bytes) + "'/></Dtc>";
    };
    EXPECT_EQ(readUnit(record(3999)).dtcs.at(0).extendedData.at(0).value.size(), 3999U);
    EXPECT_THROW(readUnit(record(4000)), Xml::FileError);
}

TEST_F(VehicleFileTest, TakesFreezeFramesThatFitIntoOneResponse) {
    const auto frame = [](std::size_t bytes) {
        return "<Dtc code='0x030100' status='0x2F'><FreezeFrame record='1'><Data id='1' bytes='" +
               zeros(bytes) + "'/></FreezeFrame></Dtc>";
    };
    EXPECT_EQ(readUnit(frame(3996)).dtcs.at(0).freezeFrames.size(), 1U);
    EXPECT_THROW(readUnit(frame(3997)), Xml::FileError);
}

TEST_F(VehicleFileTest, TakesAsManyValuesOfAFreezeFrameAsOneByteCounts) {
    const auto frame = [](int count) {
        std::string text = "<Dtc code='0x030100' status='0x2F'><FreezeFrame record='1'>";
        for (int index = 0; index < count; ++index) {
            text += "<Data id='1' bytes='00'/>";
        }
        return text + "</FreezeFrame></Dtc>";
    };
    EXPECT_EQ(readUnit(frame(255)).dtcs.at(0).freezeFrames.at(0).data.size(), 255U);
    EXPECT_THROW(readUnit(frame(256)), Xml::FileError);
}

TEST_F(VehicleFileTest, ReadsAFlashMemoryAndItsFirstSoftwareVersion) {
    const auto unit = readUnit("<FlashMemory address='0x10000' size='0x40000' blockLength='1024' "
                               "eraseDuration='1000' securityLevel='0' softwareVersion='V1'/>");
    ASSERT_EQ(unit.flashMemories.size(), 1U);
    EXPECT_EQ(unit.flashMemories[0].address, 0x10000U);
    EXPECT_EQ(unit.flashMemories[0].size, 0x40000U);
    EXPECT_EQ(unit.flashMemories[0].blockLength, 1024U);
    EXPECT_EQ(unit.flashMemories[0].eraseDuration, 1000ms);
    ASSERT_EQ(unit.dataIdentifiers.size(), 1U);
    EXPECT_EQ(unit.dataIdentifiers[0].id, Uds::Did::softwareVersion);
    EXPECT_EQ(hex(unit.dataIdentifiers[0].value), "56 31");
}

TEST_F(VehicleFileTest, TakesFlashMemoriesThatTouchInAnyOrder) {
    const auto unit = readUnit("<FlashMemory address='0x200' size='0x100' securityLevel='0'/>"
                               "<FlashMemory address='0x300' size='0x100' securityLevel='0'/>"
                               "<FlashMemory address='0x100' size='0x100' securityLevel='0'/>"
                               "<FlashMemory address='0xFFFFFFFF' size='1' securityLevel='0'/>");
    EXPECT_EQ(unit.flashMemories.size(), 4U);
}

TEST_F(VehicleFileTest, ReadsDeliberateFaults) {
    const auto unit = readUnit("<Fault request='36 05' response='7F 36 73' after='3' times='1'/>"
                               "<Fault request='36' linkLost='true'/>"
                               "<Fault request='37' inputFull='true'/>");
    ASSERT_EQ(unit.faults.size(), 3U);
    EXPECT_EQ(hex(unit.faults[0].request), "36 05");
    EXPECT_EQ(hex(unit.faults[0].response), "7F 36 73");
    EXPECT_EQ(unit.faults[0].after, 3U);
    EXPECT_EQ(unit.faults[0].times, 1U);
    EXPECT_TRUE(unit.faults[1].linkLost);
    EXPECT_EQ(unit.faults[1].after, 0U);
    EXPECT_FALSE(unit.faults[1].times.has_value());
    EXPECT_FALSE(unit.faults[1].inputFull);
    EXPECT_TRUE(unit.faults[2].inputFull);
}

TEST_F(VehicleFileTest, NamesFileLineColumnAndWhatWasExpected) {
    try {
        read("<Vehicle vin='1'>\n  <ControlUnit name='A' address='1' link='L'>\n"
             "    <SecurityLevel level='2' keyMask='1'/></ControlUnit></Vehicle>");
        FAIL() << "no exception";
    } catch (const Xml::FileError& error) {
        EXPECT_THAT(error.message(),
                    HasSubstr(file.filename().wstring() +
                              L":3:20: attribute \"level\" is even, expected an odd"));
    }
}

TEST_F(VehicleFileTest, NamesAFileThatIsMissing) {
    try {
        readVehicleFile("/nowhere/vehicle.xml");
        FAIL() << "no exception";
    } catch (const Xml::FileError& error) {
        EXPECT_THAT(error.message(), HasSubstr(L"/nowhere/vehicle.xml"));
    }
}

TEST_F(VehicleFileTest, ReadsTheExample) {
    const auto vehicle = readVehicleFile(Quarlen::Tests::examplesFolder() / "vehicle.xml");
    EXPECT_EQ(vehicle.vin, L"WKLDEMO0000000042");
    ASSERT_EQ(vehicle.controlUnits.size(), 3U);
    EXPECT_EQ(vehicle.controlUnits[0].name, L"GATEWAY");
    EXPECT_EQ(vehicle.controlUnits[0].link, L"UDS_CAN_D");
    EXPECT_EQ(vehicle.controlUnits[1].name, L"ENGINE");
    EXPECT_EQ(vehicle.controlUnits[1].flashMemories.at(0).address, 0x00010000U);
    EXPECT_EQ(vehicle.controlUnits[1].flashMemories.at(0).size, 256U * 1024U);
    EXPECT_EQ(vehicle.controlUnits[2].name, L"BRAKES");
    for (const auto& unit : vehicle.controlUnits) {
        std::set<int> ids;
        for (const auto& identifier : unit.dataIdentifiers) {
            ids.insert(identifier.id);
        }
        EXPECT_THAT(ids, testing::IsSupersetOf({0xF187, 0xF18C, 0xF193, 0xF195}));
    }
}

} // namespace
} // namespace Quarlen::Simulation::Tests
