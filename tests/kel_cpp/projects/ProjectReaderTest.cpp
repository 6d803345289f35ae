#include <string>

#include <gmock/gmock.h>

#include "kel_cpp/projects/ProcedureReader.hpp"
#include "kel_cpp/projects/ProjectStore.hpp"
#include "tests/kel_cpp/settings/ExceptionMessage.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::ElementsAre;
using testing::Optional;

class ReadingProjectXml : public testing::Test {
protected:
    std::shared_ptr<const Project> read(const std::string& content) const {
        return readProject(folder.write("project.xml", "<Project>" + content + "</Project>"),
                           L"Car");
    }

    Quarlen::Tests::TemporaryFolder folder;
};

TEST_F(ReadingProjectXml, AcceptsAnEmptyProject) {
    const auto project = read("");

    EXPECT_EQ(project->name, L"Car");
    EXPECT_EQ(project->description, L"");
    EXPECT_TRUE(project->vehicleInformations.empty());
}

TEST_F(ReadingProjectXml, KeepsVehicleInformationsAndTheirTargetsInOrder) {
    const auto project = read("<VehicleInformation name='B'><Target name='Y' link='L2'/>"
                              "<Target kind='2' name='X'/></VehicleInformation>"
                              "<VehicleInformation name='A'/>");

    ASSERT_EQ(project->vehicleInformations.size(), 2U);
    EXPECT_EQ(project->vehicleInformations[1].name, L"A");
    const auto& targets = project->vehicleInformations[0].targets;
    ASSERT_EQ(targets.size(), 2U);
    EXPECT_EQ(targets[0].kind, 1);
    EXPECT_EQ(targets[0].name, L"Y");
    EXPECT_EQ(targets[0].link, L"L2");
    EXPECT_EQ(targets[1].kind, 2);
    EXPECT_EQ(targets[1].link, L"");
}

TEST_F(ReadingProjectXml, ReadsWhereATargetIsReached) {
    const auto project =
        read("<VehicleInformation name='A'>"
             "<Target name='X' link='L' address='0x1001' functionalAddress='58368' "
             "testerAddress='0x0E80' interface='DoIP'/>"
             "<Target name='Y' link='M'/></VehicleInformation>");

    const auto& targets = project->vehicleInformations[0].targets;
    EXPECT_EQ(targets[0].interfaceName, L"DoIP");
    EXPECT_EQ(targets[1].interfaceName, L"");
    const Uds::UnitAddress reached = project->addressOf(L"L");
    EXPECT_EQ(reached.link, L"L");
    EXPECT_EQ(reached.physical, 0x1001);
    EXPECT_EQ(reached.functional, 0xE400);
    EXPECT_EQ(reached.tester, 0x0E80);
    EXPECT_EQ(project->addressOf(L"M").physical, std::nullopt);
    EXPECT_EQ(project->addressOf(L"elsewhere").link, L"elsewhere");
}

TEST_F(ReadingProjectXml, AllowsTheSameTargetInSeveralVehicleInformations) {
    EXPECT_NO_THROW((void)read("<VehicleInformation name='A'><Target name='X' link='L'/>"
                               "</VehicleInformation><VehicleInformation name='B'>"
                               "<Target name='X' link='L'/></VehicleInformation>"));
}

TEST_F(ReadingProjectXml, AllowsOneLinkInSeveralTargetsWithTheSameAddresses) {
    EXPECT_NO_THROW((void)read(
        "<VehicleInformation name='A'>"
        "<Target name='X' link='L' address='0x10' functionalAddress='2' testerAddress='3'/>"
        "<Target name='Y' link='L' address='16' functionalAddress='2' testerAddress='3'/>"
        "<Target name='Z' link='M' address='17'/></VehicleInformation>"
        "<VehicleInformation name='B'>"
        "<Target name='X' link='L' address='16' functionalAddress='2' testerAddress='3'/>"
        "</VehicleInformation>"));
}

TEST_F(ReadingProjectXml, ReadsTheStepsOfAProcedureInOrder) {
    const auto project = read("<Procedure name='P'><Wait milliseconds='10000'/>"
                              "<Request link='L' send='22 F1 90' expect='62 F1 90 *'/>"
                              "<Verdict result='failed' text='no'/></Procedure>");

    const auto& steps = project->findProcedure(L"P")->steps;
    ASSERT_EQ(steps.size(), 3U);
    EXPECT_EQ(std::get<WaitStep>(steps[0]).duration, std::chrono::seconds(10));
    const auto& request = std::get<UdsStep>(steps[1]);
    EXPECT_EQ(request.link, L"L");
    EXPECT_THAT(request.request, ElementsAre(0x22, 0xF1, 0x90));
    EXPECT_THAT(request.expected, ElementsAre(Optional(0x62), Optional(0xF1), Optional(0x90)));
    EXPECT_TRUE(request.openEnd);
    EXPECT_FALSE(request.wantsNoAnswer);
    EXPECT_EQ(request.delayBound, std::chrono::seconds(0));
    EXPECT_FALSE(std::get<VerdictStep>(steps[2]).passed);
    EXPECT_EQ(std::get<VerdictStep>(steps[2]).text, L"no");
}

TEST_F(ReadingProjectXml, ReadsAStepThatWantsNoAnswerAndWaitsOutADelay) {
    const auto project = read("<Procedure name='P'>"
                              "<Request link='L' send='31 81 01 02' expect=' none ' "
                              "waitOutDelay='30'/></Procedure>");

    const auto& request = std::get<UdsStep>(project->findProcedure(L"P")->steps.at(0));
    EXPECT_TRUE(request.wantsNoAnswer);
    EXPECT_TRUE(request.expected.empty());
    EXPECT_FALSE(request.openEnd);
    EXPECT_EQ(request.delayBound, std::chrono::seconds(30));
}

TEST_F(ReadingProjectXml, ReadsIdentificationAndDtcTexts) {
    const auto project = read("<Identification><DataIdentifier id='0xF190' name='VIN'/>"
                              "</Identification><DtcText code='0xFFFFFF' text=' all '/>");

    ASSERT_EQ(project->identification.size(), 1U);
    EXPECT_EQ(project->identification[0].dataIdentifier, 0xF190);
    EXPECT_EQ(project->identification[0].name, L"VIN");
    EXPECT_EQ(project->dtcText(0xFFFFFF), L" all ");
}

TEST_F(ReadingProjectXml, ReadsTheExtendedDataOfFaultsAndTheMileage) {
    const auto project =
        read("<ExtendedData record='0x10' name='M' unit='km'/>"
             "<ExtendedData record='1' name='C' unit=''/>"
             "<ExtendedData record='2' name='B'/><Mileage id='0x1234' unit='mi'/>");

    ASSERT_EQ(project->extendedData.size(), 3U);
    EXPECT_EQ(project->extendedData[0].number, 0x10);
    EXPECT_EQ(project->extendedData[0].name, L"M");
    EXPECT_EQ(project->extendedData[0].unit, L"km");
    EXPECT_EQ(project->extendedData[1].unit, L"");
    EXPECT_EQ(project->extendedData[2].unit, std::nullopt);
    ASSERT_TRUE(project->mileage.has_value());
    EXPECT_EQ(project->mileage->dataIdentifier, 0x1234);
    EXPECT_EQ(project->mileage->unit, L"mi");
    EXPECT_FALSE(read("")->mileage.has_value());
}

TEST_F(ReadingProjectXml, RefusesExtendedDataThatStandsTwiceAndNumbersThatAreGroups) {
    EXPECT_ANY_THROW((void)read("<ExtendedData record='1' name='A'/>"
                                "<ExtendedData record='0x01' name='B'/>"));
    EXPECT_ANY_THROW((void)read("<ExtendedData record='1' name='A'/>"
                                "<ExtendedData record='2' name='A'/>"));
    EXPECT_ANY_THROW((void)read("<ExtendedData record='0xF0' name='A'/>"));
    EXPECT_ANY_THROW((void)read("<ExtendedData record='0' name='A'/>"));
    EXPECT_ANY_THROW((void)read("<Mileage id='1' unit='km'/><Mileage id='2' unit='km'/>"));
}

TEST_F(ReadingProjectXml, ReadsUnlocks) {
    const auto project = read("<Unlock name='U' link='L'><Parameter name='p' keyMask='0xFFFFFFFF'/>"
                              "<Parameter name='q' level='0x7D' keyMask='1'/></Unlock>");

    const auto* unlock = project->findUnlock(L"U");
    ASSERT_NE(unlock, nullptr);
    EXPECT_EQ(unlock->link, L"L");
    ASSERT_EQ(unlock->parameters.size(), 2U);
    EXPECT_EQ(unlock->parameters[0].level, 1);
    EXPECT_EQ(unlock->parameters[0].keyMask, 0xFFFFFFFFU);
    EXPECT_EQ(unlock->parameters[1].level, 0x7D);
}

TEST_F(ReadingProjectXml, ReadsFlashItemsWithTheirSessions) {
    const auto project =
        read("<FlashItem name='F' target='T' description='d' securityLevel='3' keyMask='7'>"
             "<Session name='S2' file='b.bin' address='0x00010000'/>"
             "<Session name='S1' file='a.bin' address='0'/></FlashItem>"
             "<VehicleInformation name='V'><Target name='T' link='L'/></VehicleInformation>");

    const auto* item = project->findFlashItem(L"F");
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->target, L"T");
    EXPECT_EQ(item->description, L"d");
    EXPECT_EQ(item->securityLevel, 3);
    EXPECT_EQ(item->keyMask, 7U);
    ASSERT_EQ(item->sessions.size(), 2U);
    EXPECT_EQ(item->sessions[0].name, L"S2");
    EXPECT_EQ(item->sessions[0].file, L"b.bin");
    EXPECT_EQ(item->sessions[0].address, 0x10000U);
    EXPECT_FALSE(item->sessions[0].size.has_value());
    EXPECT_FALSE(item->sessions[0].checksum.has_value());
}

TEST_F(ReadingProjectXml, ReadsWhatASessionsFileMustBe) {
    const auto project =
        read("<FlashItem name='F' target='T' keyMask='7'>"
             "<Session name='S' file='a.bin' address='0' size='9' checksum='0xCBF43926'/>"
             "</FlashItem>"
             "<VehicleInformation name='V'><Target name='T' link='L'/></VehicleInformation>");

    const auto& session = project->findFlashItem(L"F")->sessions.at(0);
    EXPECT_EQ(session.size, 9U);
    EXPECT_EQ(session.checksum, 0xCBF43926U);
    EXPECT_FALSE(session.unchecked);
}

struct WrongProject {
    const char* subject;
    const char* content;
    /// Column and message; the content begins in column 10.
    const char* message;
};

class WrongProjectXml : public ReadingProjectXml,
                        public testing::WithParamInterface<WrongProject> {};

TEST_P(WrongProjectXml, IsRefusedWithFilePlaceAndExpectation) {
    const auto file = (folder.path() / "project.xml").string();

    EXPECT_EQ(messageOf([&] { (void)read(GetParam().content); }),
              file + ":1:" + GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Structure, WrongProjectXml,
    testing::Values(
        WrongProject{
            "UnknownElement", "<Foo/>",
            "10: unknown element \"Foo\" in \"Project\", expected: VehicleInformation, "
            "Procedure, Identification, ExtendedData, Mileage, Unlock, FlashItem, DtcText"},
        WrongProject{"Text", " x ", "11: text \"x\" in \"Project\", expected no text"},
        WrongProject{"NamelessVehicleInformation", "<VehicleInformation/>",
                     "10: \"VehicleInformation\" needs the attribute \"name\""},
        WrongProject{"RepeatedIdentification", "<Identification/><Identification/>",
                     "27: element \"Identification\" stands twice"},
        WrongProject{
            "StepOfAnotherKind", "<Procedure name='P'><Jump/></Procedure>",
            "30: unknown element \"Jump\" in \"Procedure\", expected: Request, Wait, Verdict"},
        WrongProject{"UnlockWithoutParameter", "<Unlock name='U' link='L'/>",
                     "10: \"Unlock\" needs at least one \"Parameter\""},
        WrongProject{"UnknownAttribute", "<DtcText code='0x000001' text='x' foo=''/>",
                     "44: unknown attribute \"foo\" of \"DtcText\", expected: code, text"}),
    [](const auto& test) { return test.param.subject; });

INSTANTIATE_TEST_SUITE_P(
    Values, WrongProjectXml,
    testing::Values(
        WrongProject{
            "ControlUnitWithoutLink",
            "<VehicleInformation name='V'><Target kind='1' name='T'/></VehicleInformation>",
            "39: \"Target\" needs the attribute \"link\""},
        WrongProject{"LinkOfAnotherKind",
                     "<VehicleInformation name='V'><Target kind='2' name='T' link='L'/>"
                     "</VehicleInformation>",
                     "65: only a target of kind 1 has a link"},
        WrongProject{"AddressOfAnotherKind",
                     "<VehicleInformation name='V'><Target kind='2' name='T' address='1'/>"
                     "</VehicleInformation>",
                     "65: only a target of kind 1 has a link"},
        WrongProject{"InterfaceOfAnotherKind",
                     "<VehicleInformation name='V'><Target kind='2' name='T' interface='I'/>"
                     "</VehicleInformation>",
                     "65: only a target of kind 1 has a link"},
        WrongProject{"AddressZero",
                     "<VehicleInformation name='V'><Target name='T' link='L' address='0'/>"
                     "</VehicleInformation>",
                     "65: attribute \"address\" is \"0\", expected a number from 1 to 65535"},
        WrongProject{
            "AddressTooLarge",
            "<VehicleInformation name='V'><Target name='T' link='L' "
            "testerAddress='65536'/></VehicleInformation>",
            "65: attribute \"testerAddress\" is \"65536\", expected a number from 1 to 65535"},
        WrongProject{"KindTooLarge",
                     "<VehicleInformation name='V'><Target kind='2147483648' name='T'/>"
                     "</VehicleInformation>",
                     "47: attribute \"kind\" is \"2147483648\", expected a number from 0 to "
                     "2147483647"},
        WrongProject{"Verdict", "<Procedure name='P'><Verdict result='ok'/></Procedure>",
                     "39: attribute \"result\" is \"ok\", expected passed or failed"},
        WrongProject{"EmptyRequest",
                     "<Procedure name='P'><Request link='L' send='' expect='*'/></Procedure>",
                     "48: attribute \"send\" is \"\", expected a text"},
        WrongProject{
            "Expectation",
            "<Procedure name='P'><Request link='L' send='22' expect='62 * 00'/></Procedure>",
            "58: attribute \"expect\" is \"62 * 00\", expected bytes such as \"62 F1 90\", "
            "\"\?\?\" for any byte, \"*\" at the end for any rest, or none"},
        WrongProject{"DelayOfZero",
                     "<Procedure name='P'><Request link='L' send='22' expect='*' "
                     "waitOutDelay='0'/></Procedure>",
                     "69: attribute \"waitOutDelay\" is \"0\", expected a number from 1 to 86400"},
        WrongProject{"WaitTooLong",
                     "<Procedure name='P'><Wait milliseconds='86400001'/></Procedure>",
                     "36: attribute \"milliseconds\" is \"86400001\", expected a number from 0 to "
                     "86400000"},
        WrongProject{"DataIdentifierTooLarge",
                     "<Identification><DataIdentifier id='0x10000' name='x'/></Identification>",
                     "42: attribute \"id\" is \"0x10000\", expected a number from 0 to 65535"},
        WrongProject{
            "EvenSecurityLevel",
            "<Unlock name='U' link='L'><Parameter name='p' level='2' keyMask='1'/></Unlock>",
            "56: attribute \"level\" is \"2\", expected an odd security level"},
        WrongProject{
            "KeyMaskTooLarge",
            "<Unlock name='U' link='L'><Parameter name='p' keyMask='0x100000000'/></Unlock>",
            "56: attribute \"keyMask\" is \"0x100000000\", expected a number from 0 to "
            "4294967295"},
        WrongProject{
            "SessionFileInAnotherFolder",
            "<FlashItem name='F' target='T' keyMask='1'>"
            "<Session name='S' file='../a' address='0'/></FlashItem>",
            "71: attribute \"file\" is \"../a\", expected the name of a file in the folder "
            "flashdata"},
        WrongProject{
            "DtcTooLarge", "<DtcText code='0x1000000' text='x'/>",
            "19: attribute \"code\" is \"0x1000000\", expected \"0x\" and 6 hexadecimal digits"},
        WrongProject{
            "DtcOfTwoBytes", "<DtcText code='0x0301' text='x'/>",
            "19: attribute \"code\" is \"0x0301\", expected \"0x\" and 6 hexadecimal digits"}),
    [](const auto& test) { return test.param.subject; });

INSTANTIATE_TEST_SUITE_P(
    References, WrongProjectXml,
    testing::Values(
        WrongProject{"UnknownProcedure",
                     "<VehicleInformation name='V'><Procedure name='P'/></VehicleInformation>",
                     "50: attribute \"name\" is \"P\", expected the name of a procedure of this "
                     "project"},
        WrongProject{
            "UnknownFlashTarget", "<FlashItem name='F' target='T' keyMask='1'/>",
            "30: attribute \"target\" is \"T\", expected the name of a target of kind 1 of "
            "this project"},
        WrongProject{
            "FlashTargetOfAnotherKind",
            "<FlashItem name='F' target='T' keyMask='1'/><VehicleInformation name='V'>"
            "<Target kind='2' name='T'/></VehicleInformation>",
            "30: attribute \"target\" is \"T\", expected the name of a target of kind 1 of "
            "this project"}),
    [](const auto& test) { return test.param.subject; });

#define OTHER_ADDRESSES "link \"L\" has other addresses in another target"

INSTANTIATE_TEST_SUITE_P(
    Links, WrongProjectXml,
    testing::Values(
        WrongProject{"OtherAddress",
                     "<VehicleInformation name='V'><Target name='T' link='L' address='1'/>"
                     "<Target name='U' link='L' address='2'/></VehicleInformation>",
                     "95: " OTHER_ADDRESSES},
        WrongProject{"OtherFunctionalAddress",
                     "<VehicleInformation name='V'><Target name='T' link='L'/>"
                     "<Target name='U' link='L' functionalAddress='2'/></VehicleInformation>",
                     "83: " OTHER_ADDRESSES},
        WrongProject{"OtherTesterAddress",
                     "<VehicleInformation name='V'><Target name='T' link='L' testerAddress='1'/>"
                     "<Target name='U' link='L'/></VehicleInformation>",
                     "101: " OTHER_ADDRESSES},
        WrongProject{"OtherAddressInAnotherVehicleInformation",
                     "<VehicleInformation name='V'><Target name='T' link='L' address='1'/>"
                     "</VehicleInformation><VehicleInformation name='W'>"
                     "<Target name='T' link='L' address='2'/></VehicleInformation>",
                     "145: " OTHER_ADDRESSES}),
    [](const auto& test) { return test.param.subject; });

#define TWICE(value) "attribute \"name\" is \"" value "\", expected a value that stands only once"

INSTANTIATE_TEST_SUITE_P(
    Repetitions, WrongProjectXml,
    testing::Values(
        WrongProject{"VehicleInformation",
                     "<VehicleInformation name='V'/><VehicleInformation name='V'/>",
                     "60: " TWICE("V")},
        WrongProject{"Target",
                     "<VehicleInformation name='V'><Target kind='2' name='T'/>"
                     "<Target kind='3' name='T'/></VehicleInformation>",
                     "83: " TWICE("T")},
        WrongProject{"ProcedureOnOffer",
                     "<VehicleInformation name='V'><Procedure name='P'/><Procedure name='P'/>"
                     "</VehicleInformation><Procedure name='P'/>",
                     "71: " TWICE("P")},
        WrongProject{"Procedure", "<Procedure name='P'/><Procedure name='P'/>", "42: " TWICE("P")},
        WrongProject{"DataIdentifierName",
                     "<Identification><DataIdentifier id='1' name='x'/>"
                     "<DataIdentifier id='2' name='x'/></Identification>",
                     "82: " TWICE("x")},
        WrongProject{"DataIdentifier",
                     "<Identification><DataIdentifier id='16' name='x'/>"
                     "<DataIdentifier id='0x10' name='y'/></Identification>",
                     "76: attribute \"id\" is \"0x10\", expected a value that stands only once"},
        WrongProject{"UnlockParameter",
                     "<Unlock name='U' link='L'><Parameter name='p' keyMask='1'/>"
                     "<Parameter name='p' keyMask='1'/></Unlock>",
                     "80: " TWICE("p")},
        WrongProject{
            "DtcCode", "<DtcText code='0x000001' text='x'/><DtcText code='0x000001' text='y'/>",
            "54: attribute \"code\" is \"0x000001\", expected a value that stands only once"}),
    [](const auto& test) { return test.param.subject; });

#undef TWICE

struct ExpectationText {
    const char* text;
    std::vector<ExpectedByte> bytes;
    bool openEnd;
};

class ExpectedAnswer : public testing::TestWithParam<ExpectationText> {};

TEST_P(ExpectedAnswer, IsReadFromItsText) {
    const auto expectation = parseExpectation(GetParam().text);

    ASSERT_TRUE(expectation);
    EXPECT_EQ(expectation->bytes, GetParam().bytes);
    EXPECT_EQ(expectation->openEnd, GetParam().openEnd);
    EXPECT_FALSE(expectation->noAnswer);
}

const ExpectedByte anyByte;

INSTANTIATE_TEST_SUITE_P(
    ProcedureReader, ExpectedAnswer,
    testing::Values(ExpectationText{"54", {0x54}, false}, ExpectationText{"*", {}, true},
                    ExpectationText{" 62 ?? f1 ", {0x62, anyByte, 0xF1}, false},
                    ExpectationText{"62??F1*", {0x62, anyByte, 0xF1}, true},
                    ExpectationText{"00 * ", {0x00}, true}));

class WrongExpectedAnswer : public testing::TestWithParam<const char*> {};

TEST_P(WrongExpectedAnswer, IsRefused) {
    EXPECT_FALSE(parseExpectation(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(ProcedureReader, WrongExpectedAnswer,
                         testing::Values("6", "62 F", "6 2", "?", "2?", "**", "* 62", "0x62",
                                         "62,F1", "+1", "-1", "none *", "None", "no ne"));

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
