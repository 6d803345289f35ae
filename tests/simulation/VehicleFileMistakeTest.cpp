#include "tests/simulation/VehicleFileFixture.hpp"

namespace Quarlen::Simulation::Tests {
namespace {

using testing::HasSubstr;

struct Mistake {
    const char* content;
    const wchar_t* message;
};

void PrintTo(const Mistake& mistake, std::ostream* output) {
    *output << mistake.content;
}

class VehicleFileMistake : public VehicleFileTest, public testing::WithParamInterface<Mistake> {};

TEST_P(VehicleFileMistake, IsReported) {
    try {
        read(GetParam().content);
        FAIL() << "no exception";
    } catch (const Xml::FileError& error) {
        EXPECT_THAT(error.message(), HasSubstr(GetParam().message));
        EXPECT_THAT(error.message(), testing::AnyOf(HasSubstr(L"expected"), HasSubstr(L"needs")));
    }
}

#define UNIT(text) "<ControlUnit name='A' address='1' link='L'>" text "</ControlUnit>"
#define VEHICLE(text) "<Vehicle vin='V'>" text "</Vehicle>"

INSTANTIATE_TEST_SUITE_P(
    Vehicle, VehicleFileMistake,
    testing::Values(
        Mistake{"<Car vin='V'/>", L"\"Vehicle\""},
        Mistake{"<Vehicle vin='vin'/>", L"capital letters"},
        Mistake{"<Vehicle vin='123456789012345678'/>", L"up to 17"},
        Mistake{VEHICLE("<Wheel/>"), L"\"Wheel\""},
        Mistake{VEHICLE(UNIT("") "<ControlUnit name='A' address='2' link='M'/>"), L"name"},
        Mistake{VEHICLE(UNIT("") "<ControlUnit name='B' address='1' link='M'/>"), L"address"},
        Mistake{VEHICLE(UNIT("") "<ControlUnit name='B' address='2' link='L'/>"), L"link"},
        Mistake{VEHICLE("<ControlUnit name='A' address='65536' link='L'/>"), L"65535"},
        Mistake{VEHICLE("<ControlUnit name='A' address='1' link='L' responseDelay='60001'/>"),
                L"60000"},
        Mistake{VEHICLE("<ControlUnit name='A' address='1' link='L' bootTime='60001'/>"), L"60000"},
        Mistake{VEHICLE("<ControlUnit name='A' address='1' link='L' programmingFrom='default'/>"),
                L"\"programmingFrom\" is \"default\", expected any or extended"},
        Mistake{VEHICLE(UNIT("<FlashMemory address='0' size='0x4000000' securityLevel='0'/>"
                             "<FlashMemory address='0x4000000' size='0x4000000' securityLevel='0'/>"
                             "<FlashMemory address='0x8000000' size='0x4000000' securityLevel='0'/>"
                             "<FlashMemory address='0xC000000' size='0x4000000' securityLevel='0'/>"
                             "<FlashMemory address='0x10000000' size='1' securityLevel='0'/>")),
                L"256 MiB"}));

#define MEMORY(address, size)                                                                      \
    "<FlashMemory address='" address "' size='" size "' securityLevel='0'/>"

INSTANTIATE_TEST_SUITE_P(
    OverlappingMemory, VehicleFileMistake,
    testing::Values(
        Mistake{VEHICLE(UNIT(MEMORY("0x200", "0x100") MEMORY("0x2FF", "1"))), L"overlap"},
        Mistake{VEHICLE(UNIT(MEMORY("0x200", "0x100") MEMORY("0x100", "0x101"))), L"overlap"},
        Mistake{VEHICLE(UNIT(MEMORY("0x200", "0x100") MEMORY("0x200", "1"))), L"overlap"},
        Mistake{VEHICLE(UNIT(MEMORY("0x200", "0x100") MEMORY("0x100", "0x400"))), L"overlap"},
        Mistake{VEHICLE(UNIT(MEMORY("0x200", "0x100") MEMORY("0x210", "0x10"))), L"overlap"},
        Mistake{VEHICLE(UNIT(MEMORY("0x600", "0x100") MEMORY("0x200", "0x100")
                                 MEMORY("0x400", "0x100") MEMORY("0x4FF", "0x10"))),
                L"overlap"},
        Mistake{VEHICLE(UNIT(MEMORY("0xFFFFFFFF", "2"))), L"ends behind 0xFFFFFFFF"}));

INSTANTIATE_TEST_SUITE_P(
    ControlUnit, VehicleFileMistake,
    testing::Values(
        Mistake{VEHICLE(UNIT("<Wheel/>")), L"\"Wheel\""},
        Mistake{VEHICLE(UNIT("<SecurityLevel level='0' keyMask='1'/>")), L"1 to 125"},
        Mistake{VEHICLE(UNIT("<SecurityLevel level='1' keyMask='1'/>"
                             "<SecurityLevel level='1' keyMask='2'/>")),
                L"only once"},
        Mistake{VEHICLE(UNIT("<DataIdentifier id='1'/>")), L"\"text\", \"bytes\" or vin"},
        Mistake{VEHICLE(UNIT("<DataIdentifier id='1' text='A' bytes='00'/>")),
                L"\"text\", \"bytes\" or vin"},
        Mistake{VEHICLE(UNIT("<DataIdentifier id='1' bytes='0'/>")), L"hexadecimal"},
        Mistake{VEHICLE(UNIT("<DataIdentifier id='1' text='A'/><DataIdentifier id='1' text='B'/>")),
                L"only once"},
        Mistake{VEHICLE(UNIT("<DataIdentifier id='1' text='A' session='some'/>")),
                L"extended or programming"},
        Mistake{VEHICLE(UNIT("<DataIdentifier id='1' text='A' securityLevel='3'/>")),
                L"no security level 3"},
        Mistake{VEHICLE(UNIT("<Dtc code='0x000000' status='1'/>")),
                L"\"code\" is \"0x000000\", expected 0x000001 to 0xFFFFFE"},
        Mistake{VEHICLE(UNIT("<Dtc code='0xFFFFFF' status='1'/>")),
                L"\"code\" is \"0xFFFFFF\", expected 0x000001 to 0xFFFFFE"},
        Mistake{VEHICLE(UNIT("<Dtc code='0x0301' status='1'/>")),
                L"\"code\" is \"0x0301\", expected \"0x\" and 6 hexadecimal digits"},
        Mistake{VEHICLE(UNIT("<Dtc code='0x000001' status='256'/>")), L"\"status\""},
        Mistake{VEHICLE(UNIT("<Dtc code='0x000001' status='1'/><Dtc code='0x000001' status='2'/>")),
                L"only once"},
        Mistake{VEHICLE(UNIT("<Routine id='0xFF00'/>")), L"belongs to a FlashMemory"},
        Mistake{VEHICLE(UNIT("<Routine id='1'/><Routine id='1'/>")), L"only once"},
        Mistake{VEHICLE(UNIT("<Routine id='1' result='xyz'/>")), L"hexadecimal"}));

#define DTC(attributes, text) "<Dtc code='0x030100' status='1'" attributes ">" text "</Dtc>"

INSTANTIATE_TEST_SUITE_P(
    Records, VehicleFileMistake,
    testing::Values(
        Mistake{VEHICLE(UNIT(DTC("", "<Wheel/>"))), L"\"Wheel\""},
        Mistake{VEHICLE(UNIT(DTC(" occurrences='256'", ""))), L"0 to 255"},
        Mistake{VEHICLE(UNIT(DTC(" ageing='-1'", ""))), L"\"ageing\""},
        Mistake{VEHICLE(UNIT(DTC("", "<FreezeFrame record='1'/>"))), L"1 to 255 values"},
        Mistake{VEHICLE(UNIT(DTC("", "<FreezeFrame record='0'><Data id='1' bytes='00'/>"
                                     "</FreezeFrame>"))),
                L"1 to 239"},
        Mistake{VEHICLE(UNIT(DTC("", "<FreezeFrame record='1'><Data id='1'/></FreezeFrame>"))),
                L"\"text\" or \"bytes\""},
        Mistake{VEHICLE(UNIT(DTC("", "<FreezeFrame record='1'><Data id='1' text='A' bytes='00'/>"
                                     "</FreezeFrame>"))),
                L"\"text\" or \"bytes\""},
        Mistake{VEHICLE(UNIT(DTC("", "<FreezeFrame record='1'><Data id='1' bytes='00'/>"
                                     "</FreezeFrame><FreezeFrame record='1'>"
                                     "<Data id='1' bytes='00'/></FreezeFrame>"))),
                L"record 1 already"},
        Mistake{VEHICLE(UNIT(DTC("", "<ExtendedData record='240' bytes='00'/>"))), L"1 to 239"},
        Mistake{VEHICLE(UNIT(DTC("", "<ExtendedData record='1'/>"))), L"\"bytes\""},
        Mistake{VEHICLE(UNIT(DTC(" ageing='1'", "<ExtendedData record='2' bytes='00'/>"))),
                L"record 2 already"}));

#undef DTC

INSTANTIATE_TEST_SUITE_P(
    Programming, VehicleFileMistake,
    testing::Values(
        Mistake{VEHICLE(UNIT("<FlashMemory address='0' size='16'/>")), L"no security level 1"},
        Mistake{VEHICLE(UNIT("<FlashMemory address='0' size='0' securityLevel='0'/>")),
                L"\"size\""},
        Mistake{VEHICLE(UNIT("<FlashMemory address='0' size='0x4000001' securityLevel='0'/>")),
                L"\"size\""},
        Mistake{VEHICLE(UNIT("<FlashMemory address='0xFFFFFFFF' size='2' securityLevel='0'/>")),
                L"32 bits"},
        Mistake{VEHICLE(UNIT("<FlashMemory address='0' size='16' securityLevel='0'/>"
                             "<FlashMemory address='15' size='16' securityLevel='0'/>")),
                L"overlap"},
        Mistake{VEHICLE(UNIT("<SecurityLevel level='1' keyMask='1'/>"
                             "<FlashMemory address='0' size='16' securityLevel='0'/>"
                             "<FlashMemory address='16' size='16'/>")),
                L"same security level"},
        Mistake{VEHICLE(UNIT("<DataIdentifier id='0xF195' text='A'/>"
                             "<FlashMemory address='0' size='16' securityLevel='0' "
                             "softwareVersion='B'/>")),
                L"only once"},
        Mistake{VEHICLE(UNIT("<Fault response='7F'/>")), L"\"request\""},
        Mistake{VEHICLE(UNIT("<Fault request='22' response='7F' linkLost='true'/>")),
                L"expected one of \"response\", \"linkLost\""},
        Mistake{VEHICLE(UNIT("<Fault request='22' inputFull='true' linkLost='true'/>")),
                L"expected one of"},
        Mistake{VEHICLE(UNIT("<Fault request='22' times='0'/>")), L"\"times\""}));

#undef UNIT
#undef VEHICLE

} // namespace
} // namespace Quarlen::Simulation::Tests
