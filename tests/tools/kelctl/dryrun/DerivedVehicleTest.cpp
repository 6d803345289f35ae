#include "tools/kelctl/dryrun/DerivedVehicle.hpp"

#include <fstream>

#include <gtest/gtest.h>

#include "simulation/SimulatedControlUnit.hpp"
#include "tests/support/FakeClock.hpp"
#include "tests/support/HexBytes.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TestPaths.hpp"
#include "tools/kelctl/check/ProjectVin.hpp"

namespace Quarlen::Ctl::Tests {

using Quarlen::Tests::hex;
using Simulation::ControlUnitDescription;
using Simulation::VehicleDescription;

namespace {

Kel_cpp::UdsStep stepOf(const std::string& request, const std::string& expected,
                        bool openEnd = false) {
    Kel_cpp::UdsStep step;
    step.link = L"LINK_E";
    step.request = hex(request);
    step.openEnd = openEnd;
    step.wantsNoAnswer = expected == "none";
    if (step.wantsNoAnswer) {
        return step;
    }
    std::istringstream words(expected);
    for (std::string word; words >> word;) {
        step.expected.push_back(word == "??" ? Kel_cpp::ExpectedByte() : hex(word).front());
    }
    return step;
}

/// A project with one control unit.
class DerivedControlUnit : public testing::Test {
protected:
    DerivedControlUnit() {
        project.name = L"P";
        project.vehicleInformations = {{L"V", {{1, L"ENGINE", L"LINK_E"}}, {}}};
        project.procedures.push_back({L"O", {}});
    }

    VehicleDescription derive() {
        return deriveVehicle({std::make_shared<Kel_cpp::Project>(project)}, L"SIM123", "nowhere");
    }
    /// What the unit answers to the requests, the last one alone.
    std::string answer(const std::vector<std::string>& requests) {
        const VehicleDescription vehicle = derive();
        Simulation::SimulatedControlUnit unit(vehicle.controlUnits.at(0), clock);
        std::string last;
        for (const std::string& request : requests) {
            last = "silence";
            for (const auto& response : unit.handle(hex(request))) {
                last = hex(response.bytes);
            }
        }
        return last;
    }
    void expects(const Kel_cpp::UdsStep& step) { project.procedures[0].steps.emplace_back(step); }

    Kel_cpp::Project project;
    Quarlen::Tests::FakeClock clock;
};

} // namespace

TEST_F(DerivedControlUnit, HasTheAddressOfTheTarget) {
    project.vehicleInformations[0].targets = {{1, L"BRAKES", L"LINK_B"},
                                              {1, L"ENGINE", L"LINK_E", 0x0010},
                                              {1, L"DOOR", L"LINK_D", 0x0012}};
    const VehicleDescription vehicle = derive();
    ASSERT_EQ(vehicle.controlUnits.size(), 3U);
    EXPECT_EQ(vehicle.controlUnits[0].address, 0x0011) << "the first that no target has";
    EXPECT_EQ(vehicle.controlUnits[1].address, 0x0010);
    EXPECT_EQ(vehicle.controlUnits[2].address, 0x0012);
}

TEST_F(DerivedControlUnit, HasAnAddressOfItsOwnWhenTwoLinksSayTheSame) {
    project.vehicleInformations[0].targets = {{1, L"ENGINE", L"LINK_E", 0x0010},
                                              {1, L"DOOR", L"LINK_D", 0x0010}};
    const VehicleDescription vehicle = derive();
    ASSERT_EQ(vehicle.controlUnits.size(), 2U);
    EXPECT_EQ(vehicle.controlUnits[0].address, 0x0010);
    EXPECT_EQ(vehicle.controlUnits[1].address, 0x0011);
}

TEST_F(DerivedControlUnit, HasTheNameAndTheLinkOfTheTarget) {
    project.vehicleInformations[0].targets.push_back({2, L"CHASSIS", L""});
    project.vehicleInformations.push_back({L"W", {{1, L"ENGINE", L"LINK_2"}}, {}});
    const VehicleDescription vehicle = derive();
    ASSERT_EQ(vehicle.controlUnits.size(), 2U);
    EXPECT_EQ(vehicle.controlUnits[0].name, L"ENGINE");
    EXPECT_EQ(vehicle.controlUnits[0].link, L"LINK_E");
    EXPECT_EQ(vehicle.controlUnits[1].name, L"LINK_2");
    EXPECT_NE(vehicle.controlUnits[0].address, vehicle.controlUnits[1].address);
}

TEST_F(DerivedControlUnit, KnowsTheVinAndTheIdentificationOfItsProject) {
    project.identification = {{0xF190, L"VIN"}, {0xF187, L"Part"}};
    EXPECT_EQ(answer({"22 F1 90"}), "62 F1 90 53 49 4D 31 32 33");
    EXPECT_EQ(answer({"22 F1 87"}).substr(0, 8), "62 F1 87");
    EXPECT_EQ(answer({"22 F1 88"}), "7F 22 31");
}

TEST_F(DerivedControlUnit, GivesTheSeedsOfUnlocksAndFlashItems) {
    project.unlocks = {{L"U", L"LINK_E", {{L"p", 3, 0x1111}, {L"q", 3, 0x2222}}}};
    project.flashItems = {{L"F", L"ENGINE", L"", 1, 0x3333, {}}};
    const VehicleDescription vehicle = derive();
    const auto& levels = vehicle.controlUnits.at(0).securityLevels;
    ASSERT_EQ(levels.size(), 2U);
    EXPECT_EQ(levels[0].level, 3);
    EXPECT_EQ(levels[0].keyMask, 0x1111U);
    EXPECT_EQ(levels[1].level, 1);
    EXPECT_EQ(levels[1].keyMask, 0x3333U);
    EXPECT_EQ(answer({"10 03", "27 03"}).substr(0, 5), "67 03");
}

TEST_F(DerivedControlUnit, HasMemoryForTheSessionsWithTheirSizes) {
    project.flashItems = {{L"F",
                           L"ENGINE",
                           L"",
                           5,
                           0,
                           {{L"A", L"a", 0x1000, 0x100, {}},
                            {L"B", L"b", 0x1080, 0x200, {}},
                            {L"C", L"c", 0x9000, {}, {}}}}};
    const VehicleDescription vehicle = derive();
    const auto& memories = vehicle.controlUnits.at(0).flashMemories;
    ASSERT_EQ(memories.size(), 2U);
    EXPECT_EQ(memories[0].address, 0x1000U);
    EXPECT_EQ(memories[0].size, 0x280U);
    EXPECT_EQ(memories[0].securityLevel, 5);
    EXPECT_EQ(memories[1].address, 0x9000U);
    EXPECT_GE(memories[1].size, 0x10000U);
}

TEST_F(DerivedControlUnit, TakesTheSizeOfAFileWhereTheProjectGivesNone) {
    const Quarlen::Tests::TemporaryFolder folder;
    folder.write("a.bin", std::string(77, 'x'));
    project.flashItems = {{L"F", L"ENGINE", L"", 1, 0, {{L"A", L"a.bin", 0x1000, {}, {}}}}};
    const VehicleDescription vehicle =
        deriveVehicle({std::make_shared<Kel_cpp::Project>(project)}, L"S", folder.path());
    EXPECT_EQ(vehicle.controlUnits.at(0).flashMemories.at(0).size, 77U);
}

TEST_F(DerivedControlUnit, AnswersWhatTheStepsOfAFlashItemAsk) {
    project.flashItems = {
        {L"F",
         L"ENGINE",
         L"",
         1,
         0,
         {},
         {Kel_cpp::FlashRequest{{0x10, 0x03}}, Kel_cpp::FlashRequest{{0x85, 0x02}},
          Kel_cpp::FlashRequest{{0x28, 0x81, 0x01}}, Kel_cpp::FlashFingerprint{{0x01}},
          Kel_cpp::FlashMemories{}}}};
    EXPECT_EQ(answer({"85 02"}), "C5 02");
    EXPECT_EQ(answer({"2E F1 5A 26 11 23 01"}), "6E F1 5A");
    EXPECT_EQ(answer({"10 03", "28 81 01"}), "silence");
    EXPECT_EQ(answer({"10 03"}).substr(0, 5), "50 03");
}

struct Expectation {
    std::string request;
    std::string expected;
    bool openEnd;
    std::string answer;
};

class AnswerOfADerivedUnit : public DerivedControlUnit,
                             public testing::WithParamInterface<Expectation> {};

TEST_P(AnswerOfADerivedUnit, IsWhatTheProcedureExpects) {
    const Expectation& given = GetParam();
    expects(stepOf(given.request, given.expected, given.openEnd));
    EXPECT_EQ(answer({given.request}), given.answer);
}

INSTANTIATE_TEST_SUITE_P(
    Request, AnswerOfADerivedUnit,
    testing::Values(Expectation{"22 01 02", "62 01 02 AB ??", false, "62 01 02 AB 00"},
                    Expectation{"22 01 02", "62 01 02", true, "62 01 02 53 49 4D 5F 30 31 30 32"},
                    Expectation{"22 01 02", "7F 22 33", false, "7F 22 33"},
                    Expectation{"22 01 02", "", true, "62 01 02 53 49 4D 5F 30 31 30 32"},
                    Expectation{"22 01 02 03 04", "62 01 02 AA 03 04 BB", false,
                                "62 01 02 AA 03 04 BB"},
                    Expectation{"2E 01 02 AA BB", "6E 01 02", false, "6E 01 02"},
                    Expectation{"2E 01 02 AA", "7F 2E 31", false, "7F 2E 31"},
                    Expectation{"31 01 02 03", "71 01 02 03 00", false, "71 01 02 03 00"},
                    Expectation{"31 01 02 03 04", "?? ?? ?? ?? ??", false, "71 01 02 03 00"},
                    Expectation{"31 01 FF 00", "71 01 FF 00", true, "71 01 FF 00"},
                    Expectation{"27 01", "67 01 11 22", false, "67 01 11 22"},
                    Expectation{"85 02", "C5 02", false, "C5 02"},
                    Expectation{"85 02", "", true, "C5 02"},
                    Expectation{"2F 01 02 03", "", true, "6F 01 02"},
                    Expectation{"31 81 01 02", "none", false, "silence"},
                    Expectation{"2F 01 02 03", "none", false, "6F 01 02"},
                    Expectation{"19 06 01", "59 06", true, "59 06"},
                    Expectation{"14 FF FF FF", "54", false, "54"},
                    Expectation{"10 03", "50 03", true, "50 03 00 32 01 F4"}));

TEST_F(DerivedControlUnit, KeepsTheFirstAnswer) {
    expects(stepOf("22 F1 90", "62 F1 90 58"));
    expects(stepOf("31 01 02 03", "71 01 02 03 01"));
    expects(stepOf("31 01 02 03", "71 01 02 03 02"));
    EXPECT_EQ(answer({"22 F1 90"}), "62 F1 90 53 49 4D 31 32 33");
    EXPECT_EQ(answer({"31 01 02 03"}), "71 01 02 03 01");
}

TEST_F(DerivedControlUnit, TellsALongerRequestFromAShorterOneWithTheSameBegin) {
    expects(stepOf("31 01 02 03", "71 01 02 03 01"));
    expects(stepOf("31 01 02 03 04", "71 01 02 03 02"));
    EXPECT_EQ(answer({"31 01 02 03"}), "71 01 02 03 01");
    EXPECT_EQ(answer({"31 01 02 03 04"}), "71 01 02 03 02");
}

TEST_F(DerivedControlUnit, ReadsBackWhatAProcedureWrites) {
    expects(stepOf("2E 01 02 AA BB", "6E 01 02"));
    EXPECT_EQ(answer({"2E 01 02 AA BB", "22 01 02"}), "62 01 02 AA BB");
}

TEST_F(DerivedControlUnit, LeavesWhatDependsOnAStateToTheSimulation) {
    project.unlocks = {{L"U", L"LINK_E", {{L"p", 1, 7}}}};
    project.flashItems = {{L"F", L"ENGINE", L"", 1, 7, {{L"A", L"a", 0x1000, 0x100, {}}}}};
    expects(stepOf("27 01", "67 01 11 22 33 44"));
    expects(stepOf("31 01 FF 00", "71 01 FF 00"));
    expects(stepOf("31 01 FF 01", "71 01 FF 01 00"));
    expects(stepOf("34 00 44", "74"));
    EXPECT_TRUE(derive().controlUnits.at(0).faults.empty());
}

TEST(VinOfAProject, EndsWithTheLastOfItsLongestParts) {
    EXPECT_EQ(vinForProject(L"Car_DEMO0000000042"), L"SIMDEMO0000000042");
    EXPECT_EQ(vinForProject(L"ABC_123_x"), L"SIM123");
    EXPECT_EQ(vinForProject(L"0123456789ABCDEFGHI"), L"SIM56789ABCDEFGHI");
    EXPECT_EQ(vinForProject(L"Car_12"), L"");
    EXPECT_EQ(vinForProject(L""), L"");
}

class VehicleOfAScript : public testing::Test {
protected:
    VehicleOfAScript() { copy("VIN_Reader", "VIN_Reader"); }

    void copy(const std::string& from, const std::string& to) const {
        std::filesystem::copy(Quarlen::Tests::examplesFolder() / "projects" / from,
                              folder.path() / to, std::filesystem::copy_options::recursive);
    }
    void select(const std::wstring& project, const std::wstring& information) {
        const Config::Ref action(new Config::CfxSelectAction);
        action->project = project;
        action->vehicleInformation = information;
        script->actions.emplace_back(action);
    }
    VehicleDescription derive() { return deriveVehicle(*script, {folder.path(), "nowhere"}); }
    static std::wstring namesOf(const VehicleDescription& vehicle) {
        std::wstring names;
        for (const ControlUnitDescription& unit : vehicle.controlUnits) {
            names += unit.name + L"/" + unit.link + L" ";
        }
        return names;
    }

    Quarlen::Tests::TemporaryFolder folder;
    Config::Ref<Config::CfxKelServerScript> script{new Config::CfxKelServerScript};
};

TEST_F(VehicleOfAScript, LeadsToTheFirstProjectWithTheVehicleInformation) {
    copy("Car_DEMO0000000042", "Car_ZZZ777");
    copy("VIN_Reader", "Car_AAA111");
    copy("Car_DEMO0000000042", "Car_no");
    select(L"AUTO_SELECT", L"VIT_A");
    const VehicleDescription vehicle = derive();
    EXPECT_EQ(vehicle.vin, L"SIMZZZ777");
    EXPECT_EQ(namesOf(vehicle), L"ENGINE/UDS_CAN_ENGINE GATEWAY/UDS_CAN_D BRAKES/UDS_CAN_BRAKES ");
}

TEST_F(VehicleOfAScript, DoesNotChooseAProjectThatAnotherOneWouldHide) {
    copy("VIN_Reader", "A_ZZZ777");
    copy("Car_DEMO0000000042", "B_ZZZ777");
    copy("Car_DEMO0000000042", "C_YYY888");
    select(L"AUTO_SELECT", L"VIT_A");
    EXPECT_EQ(derive().vin, L"SIMYYY888");
}

TEST_F(VehicleOfAScript, HasTheControlUnitsOfAllNamedProjects) {
    copy("Car_DEMO0000000042", "Car_DEMO0000000042");
    select(L"VIN_Reader", L"DefaultVIT");
    select(L"Missing", L"V");
    select(L"", L"");
    select(L"Car_DEMO0000000042", L"VIT_B");
    EXPECT_EQ(namesOf(derive()),
              L"VIN_SOURCE/UDS_CAN_D ENGINE/UDS_CAN_ENGINE BRAKES/UDS_CAN_BRAKES ");
}

TEST_F(VehicleOfAScript, HasTheVinReaderEvenWhenNoProjectFits) {
    select(L"AUTO_SELECT", L"VIT_A");
    EXPECT_EQ(namesOf(derive()), L"VIN_SOURCE/UDS_CAN_D ");
}

TEST_F(VehicleOfAScript, HasNoControlUnitsWithoutAProject) {
    EXPECT_EQ(namesOf(derive()), L"");
    EXPECT_EQ(derive().vin.size(), 17U);
}

} // namespace Quarlen::Ctl::Tests
