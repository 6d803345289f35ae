#include "config/ScriptReader.hpp"

#include <optional>
#include <ostream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/config/ParseScript.hpp"

namespace Config::Tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(ScriptReader, GivesEveryActionItsTypeIdInFileOrder) {
    const auto script = parseScript("<ExecuteAction/><SelectAction/><QuicktestAction/>"
                                    "<FlashingAction/><UnlockAction/>");

    std::vector<std::uint32_t> ids;
    for (std::uint64_t index = 0; index < script->actionCount(); ++index) {
        ids.push_back(static_cast<std::uint32_t>(script->action(index).typeId()));
    }
    EXPECT_THAT(ids, ElementsAre(402U, 403U, 418U, 421U, 439U));
}

TEST(ScriptReader, MakesAnUnknownObjectOfAnUnknownElementAndKeepsItsPlace) {
    const auto script = parseScript("<Sleep/><ExecuteAction/><executeAction/>");

    ASSERT_EQ(script->actionCount(), 3U);
    EXPECT_EQ(script->action(0).typeId(), TypeId::Unknown);
    EXPECT_EQ(script->action(1).typeId(), TypeId::ExecuteAction);
    EXPECT_EQ(script->action(2).typeId(), TypeId::Unknown);
}

TEST(ScriptReader, MakesAnUnknownObjectOfAnotherRootElement) {
    const auto root = parseRoot("<KelServer><ExecuteAction/></KelServer>");

    EXPECT_EQ(root->typeId(), TypeId::Unknown);
    EXPECT_EQ(as<CfxKelServerScript>(*root), nullptr);
}

TEST(ScriptReader, CountsNeitherCommentsNorTextAsActions) {
    const auto script = parseScript(" text <!-- <ExecuteAction/> --> <?target data?> ");

    EXPECT_EQ(script->actionCount(), 0U);
}

TEST(ScriptReader, ThrowsOutOfRangeBehindTheLastAction) {
    const auto script = parseScript("<ExecuteAction/>");

    EXPECT_THROW((void)script->action(1), std::out_of_range);
}

TEST(ScriptReader, LightsTheResultLedUnlessTheScriptSaysOtherwise) {
    const auto resultLed = [](std::string_view text) {
        return dynamic_cast<const CfxKelServerScript&>(*parseRoot(text)).resultLed;
    };

    EXPECT_TRUE(resultLed("<KelServerScript/>"));
    EXPECT_TRUE(resultLed("<KelServerScript resultLed='true'/>"));
    EXPECT_FALSE(resultLed("<KelServerScript resultLed='false'/>"));
}

TEST(ScriptReader, ReadsTheExecuteAction) {
    const ParsedAction<CfxExecuteAction> action(
        "<ExecuteAction enabled='false' command='#OTX Read &amp; show'/>");

    EXPECT_FALSE(action->enabled);
    EXPECT_EQ(action->command, L"#OTX Read & show");
}

TEST(ScriptReader, EnablesAnExecuteActionThatDoesNotSay) {
    const ParsedAction<CfxExecuteAction> action("<ExecuteAction/>");

    EXPECT_TRUE(action->enabled);
    EXPECT_EQ(action->command, L"");
}

TEST(ScriptReader, ReadsTheSelectAction) {
    const ParsedAction<CfxSelectAction> action("<SelectAction project='AUTO_SELECT' "
                                               "vehicleInformation='VIT_A' autoConnect='1'/>");

    EXPECT_EQ(action->project, L"AUTO_SELECT");
    EXPECT_EQ(action->vehicleInformation, L"VIT_A");
    EXPECT_TRUE(action->autoConnect);
}

TEST(ScriptReader, DoesNotConnectOnItsOwnAndLeavesMissingNamesEmpty) {
    const ParsedAction<CfxSelectAction> action("<SelectAction/>");

    EXPECT_EQ(action->project, L"");
    EXPECT_EQ(action->vehicleInformation, L"");
    EXPECT_FALSE(action->autoConnect);
}

TEST(ScriptReader, ReadsTheListsOfTheQuicktestAction) {
    const ParsedAction<CfxQuicktestAction> action(
        "<QuicktestAction reportName='Initial'><Item>ENGINE</Item><Target name='A'/>"
        "<DtcStatus>Confirmed</DtcStatus><Item>GATEWAY</Item><Target name='B' enabled='false'/>"
        "<DtcStatus>Pending</DtcStatus></QuicktestAction>");

    EXPECT_EQ(action->reportName, L"Initial");
    EXPECT_THAT(action->items, ElementsAre(L"ENGINE", L"GATEWAY"));
    EXPECT_THAT(action->dtcStatus, ElementsAre(L"Confirmed", L"Pending"));
    ASSERT_EQ(action->targets.size(), 2U);
    EXPECT_EQ(action->targets[0].name, L"A");
    EXPECT_TRUE(action->targets[0].enabled);
    EXPECT_EQ(action->targets[1].name, L"B");
    EXPECT_FALSE(action->targets[1].enabled);
}

TEST(ScriptReader, ReadsWhatElseAQuicktestActionAsksFor) {
    const ParsedAction<CfxQuicktestAction> frames("<QuicktestAction freezeFrames='true'/>");
    const ParsedAction<CfxQuicktestAction> data("<QuicktestAction extendedData='1'/>");
    const ParsedAction<CfxQuicktestAction> mileage("<QuicktestAction mileage=' true '/>");

    EXPECT_TRUE(frames->freezeFrames && !frames->extendedData && !frames->mileage);
    EXPECT_TRUE(!data->freezeFrames && data->extendedData && !data->mileage);
    EXPECT_TRUE(!mileage->freezeFrames && !mileage->extendedData && mileage->mileage);
}

TEST(ScriptReader, ReadsTheVehicleReportAndTheUnlockOfTheQuicktestAction) {
    const ParsedAction<CfxQuicktestAction> action(
        "<QuicktestAction><VehicleReport type='SWT_Initial'><Service>IdentValues</Service>"
        "<Service>CurrentDtcs</Service></VehicleReport>"
        "<Unlock name='UnlockGateway' parameter='level1'/></QuicktestAction>");

    ASSERT_TRUE(action->vehicleReport.has_value());
    EXPECT_EQ(action->vehicleReport->reportType, L"SWT_Initial");
    EXPECT_THAT(action->vehicleReport->services, ElementsAre(L"IdentValues", L"CurrentDtcs"));
    ASSERT_TRUE(action->unlock.has_value());
    EXPECT_EQ(action->unlock->unlockName, L"UnlockGateway");
    EXPECT_EQ(action->unlock->unlockParameter, L"level1");
}

TEST(ScriptReader, LeavesOutWhatTheQuicktestActionDoesNotHave) {
    const ParsedAction<CfxQuicktestAction> action("<QuicktestAction/>");

    EXPECT_EQ(action->reportName, L"");
    EXPECT_FALSE(action->freezeFrames || action->extendedData || action->mileage);
    EXPECT_THAT(action->items, IsEmpty());
    EXPECT_THAT(action->targets, IsEmpty());
    EXPECT_THAT(action->dtcStatus, IsEmpty());
    EXPECT_FALSE(action->vehicleReport.has_value());
    EXPECT_FALSE(action->unlock.has_value());
}

TEST(ScriptReader, TellsAMissingReportTypeFromAnEmptyOne) {
    const ParsedAction<CfxQuicktestAction> missing(
        "<QuicktestAction><VehicleReport/></QuicktestAction>");
    const ParsedAction<CfxQuicktestAction> empty(
        "<QuicktestAction><VehicleReport type=''/></QuicktestAction>");

    ASSERT_TRUE(missing->vehicleReport.has_value());
    EXPECT_EQ(missing->vehicleReport->reportType, std::nullopt);
    ASSERT_TRUE(empty->vehicleReport.has_value());
    EXPECT_EQ(empty->vehicleReport->reportType, L"");
}

TEST(ScriptReader, ReadsTheFlashingAction) {
    const ParsedAction<CfxFlashingAction> action(
        "<FlashingAction><Item>ENGINE_SW</Item><Target name='ENGINE' enabled='0'/>"
        "<Unlock name='U'/></FlashingAction>");

    EXPECT_THAT(action->items, ElementsAre(L"ENGINE_SW"));
    ASSERT_EQ(action->targets.size(), 1U);
    EXPECT_FALSE(action->targets[0].enabled);
    ASSERT_TRUE(action->unlock.has_value());
    EXPECT_EQ(action->unlock->unlockParameter, L"");
}

TEST(ScriptReader, ReadsTheUnlockActionWithAndWithoutADescription) {
    const ParsedAction<CfxUnlockAction> with(
        "<UnlockAction><Unlock name='UnlockGateway' parameter='level1'/></UnlockAction>");
    const ParsedAction<CfxUnlockAction> without("<UnlockAction/>");

    ASSERT_TRUE(with->unlock.has_value());
    EXPECT_EQ(with->unlock->unlockName, L"UnlockGateway");
    EXPECT_FALSE(without->unlock.has_value());
}

TEST(ScriptReader, RemovesBlanksAroundElementTextsOnly) {
    const ParsedAction<CfxQuicktestAction> action(
        "<QuicktestAction reportName=' R '><Item>\n  Engine control \t</Item></QuicktestAction>");

    EXPECT_THAT(action->items, ElementsAre(L"Engine control"));
    EXPECT_EQ(action->reportName, L" R ");
}

TEST(ScriptReader, JoinsATextThatACommentOrCdataDivides) {
    const ParsedAction<CfxFlashingAction> action(
        "<FlashingAction><Item>EN<!-- x -->GI<![CDATA[N<&]]>E</Item></FlashingAction>");

    EXPECT_THAT(action->items, ElementsAre(L"ENGIN<&E"));
}

TEST(ScriptReader, KeepsTextsThatAreNotAscii) {
    const ParsedAction<CfxExecuteAction> action("<ExecuteAction command='Pr\xC3\xBC"
                                                "fung \xE6\xB8\xAC &#xE9;'/>");

    EXPECT_EQ(action->command, L"Pr\u00FCfung \u6E2C \u00E9");
}

TEST(ScriptReader, PassesOverUnknownAttributesAndElementsInsideAnAction) {
    const ParsedAction<CfxFlashingAction> action(
        "<FlashingAction note='x'><Note><Item>NO</Item></Note><Item>YES</Item></FlashingAction>");

    EXPECT_THAT(action->items, ElementsAre(L"YES"));
}

TEST(ScriptReader, KeepsTheBlanksBetweenThePartsOfAText) {
    const ParsedAction<CfxFlashingAction> action(
        "<FlashingAction><Item> a<!-- x --> <!-- y -->b </Item></FlashingAction>");

    EXPECT_THAT(action->items, ElementsAre(L"a b"));
}

TEST(ScriptReader, TakesNoTextOfElementsInsideAnItem) {
    const ParsedAction<CfxFlashingAction> action(
        "<FlashingAction><Item>a<b>c<Service>d</Service></b>e</Item><Item>f</Item>"
        "</FlashingAction>");

    EXPECT_THAT(action->items, ElementsAre(L"ae", L"f"));
}

TEST(ScriptReader, TakesOnlyTheChildrenThatAnActionHas) {
    const auto script = parseScript(
        "<UnlockAction><Item>a</Item><Target/><DtcStatus/><VehicleReport><Service/>"
        "</VehicleReport></UnlockAction><ExecuteAction><Unlock/><Unlock/></ExecuteAction>"
        "<FlashingAction><DtcStatus>x</DtcStatus><VehicleReport/><VehicleReport/></FlashingAction>"
        "<Sleep><Item>b</Item><Unlock/><Unlock/></Sleep>");

    EXPECT_EQ(script->actionCount(), 4U);
}

TEST(ScriptReader, TakesServicesOfAVehicleReportOnly) {
    const ParsedAction<CfxQuicktestAction> action(
        "<QuicktestAction><VehicleReport><Service>A</Service><x><Service>B</Service></x>"
        "</VehicleReport><Note><Service>C</Service></Note><Service>D</Service></QuicktestAction>");

    ASSERT_TRUE(action->vehicleReport.has_value());
    EXPECT_THAT(action->vehicleReport->services, ElementsAre(L"A"));
}

TEST(ScriptReader, ReadsNoActionsBelowAnotherRootOrAnotherElement) {
    EXPECT_EQ(parseScript("<Group><ExecuteAction/></Group>")->actionCount(), 1U);
    EXPECT_EQ(parseRoot("<KelServer><UnlockAction><Unlock/><Unlock/></UnlockAction></KelServer>")
                  ->typeId(),
              TypeId::Unknown);
}

constexpr const wchar_t* tooMuch = L"the script needs more than 24 MiB of memory";

std::wstring causeOfRepeated(std::size_t count, const std::string& before, const std::string& part,
                             const std::string& behind) {
    return causeOfFault([&] {
        ScriptReader reader;
        Xml::Parser parser(reader, ScriptReader::limits);
        parser.feed("<KelServerScript>" + before);
        std::string parts;
        for (std::size_t index = 0; index < count; ++index) {
            parts += part;
        }
        parser.feed(parts);
        parser.feed(behind + "</KelServerScript>");
        parser.finish();
    });
}

/// `part` is repeated.
struct LargeScript {
    const char* subject;
    const char* before;
    std::string part;
    const char* behind;
    std::size_t accepted;
    std::size_t refused;
};

void PrintTo(const LargeScript& script, std::ostream* out) {
    *out << script.subject;
}

class LargeScripts : public testing::TestWithParam<LargeScript> {};

TEST_P(LargeScripts, AreTakenUpToTheMemoryThatTheyMayCost) {
    const auto& script = GetParam();

    EXPECT_EQ(causeOfRepeated(script.accepted, script.before, script.part, script.behind), L"");
    EXPECT_EQ(causeOfRepeated(script.refused, script.before, script.part, script.behind), tooMuch);
}

std::string longName(const char* begin, std::size_t length, const char* end) {
    return begin + std::string(length, 'x') + end;
}

INSTANTIATE_TEST_SUITE_P(
    ScriptReader, LargeScripts,
    testing::Values(LargeScript{"Actions", "", "<ExecuteAction/>", "", 250'000, 290'000},
                    LargeScript{"UnknownActions", "", "<x/>", "", 780'000, 790'000},
                    LargeScript{"Commands", "", longName("<ExecuteAction command='", 1000, "'/>"),
                                "", 6'000, 6'200},
                    LargeScript{"Items", "<FlashingAction>", "<Item>ENGINE</Item>",
                                "</FlashingAction>", 280'000, 290'000},
                    LargeScript{"Targets", "<FlashingAction>", "<Target name='AB'/>",
                                "</FlashingAction>", 61'000, 64'000},
                    LargeScript{"Services", "<QuicktestAction><VehicleReport>", "<Service/>",
                                "</VehicleReport></QuicktestAction>", 350'000, 400'000},
                    LargeScript{"TextsInParts", "<FlashingAction>",
                                longName("<Item>a<!-- -->", 1000, "</Item>"), "</FlashingAction>",
                                6'000, 6'200}),
    [](const auto& test) { return test.param.subject; });

TEST(ScriptReader, TakesATextUpToTheGreatestLength) {
    constexpr std::size_t maxSize = ScriptReader::maxTextSize;
    const auto attribute = [](std::size_t length) {
        return longName("<ExecuteAction command='", length, "'/>");
    };
    const auto element = [](std::size_t length) {
        return longName("<FlashingAction><Item>", length - 1, "<!-- -->x</Item></FlashingAction>");
    };

    EXPECT_EQ(ParsedAction<CfxExecuteAction>(attribute(maxSize))->command.size(), maxSize);
    EXPECT_EQ(ParsedAction<CfxFlashingAction>(element(maxSize))->items.at(0).size(), maxSize);
    EXPECT_EQ(causeOfFault([&] { parseScript(attribute(maxSize + 1)); }),
              L"a text longer than 256 KiB");
    EXPECT_EQ(causeOfFault([&] { parseScript(element(maxSize + 1)); }),
              L"a text longer than 256 KiB");
}

TEST(ScriptReader, ElementsAndTextsThatItPassesOverCostNothing) {
    EXPECT_EQ(causeOfRepeated(500'000, "<FlashingAction>", "<x a='1'>text<y/></x><!-- c -->text",
                              "</FlashingAction>"),
              L"");
}

TEST(ScriptReader, RefusesASecondUnlockOrVehicleReportInOneAction) {
    EXPECT_EQ(causeOfFault([] { parseScript("<UnlockAction><Unlock/><Unlock/></UnlockAction>"); }),
              L"a second element \"Unlock\" in one action");
    EXPECT_EQ(causeOfFault([] {
                  parseScript("<QuicktestAction><VehicleReport/><VehicleReport/>"
                              "</QuicktestAction>");
              }),
              L"a second element \"VehicleReport\" in one action");
}

TEST(ScriptReader, CutsALongValueInItsMessage) {
    const auto element = longName("<ExecuteAction enabled='", 61, "'/>");

    EXPECT_EQ(causeOfFault([&] { parseScript(element); }),
              L"the attribute \"enabled\" must be true or false, not \"" + std::wstring(60, L'x') +
                  L"...\"");
}

struct FlagCase {
    const char* text;
    /// Nothing: the file does not load.
    std::optional<bool> value;
};

void PrintTo(const FlagCase& flag, std::ostream* out) {
    *out << '"' << flag.text << '"';
}

class ScriptFlag : public testing::TestWithParam<FlagCase> {};

TEST_P(ScriptFlag, IsAnXmlBoolean) {
    const std::string element = std::string("<ExecuteAction enabled='") + GetParam().text + "'/>";
    std::optional<bool> read;

    const std::wstring cause =
        causeOfFault([&] { read = ParsedAction<CfxExecuteAction>(element)->enabled; });

    EXPECT_EQ(read, GetParam().value);
    EXPECT_EQ(cause.empty(), GetParam().value.has_value());
}

INSTANTIATE_TEST_SUITE_P(Texts, ScriptFlag,
                         testing::Values(FlagCase{"true", true}, FlagCase{"1", true},
                                         FlagCase{"false", false}, FlagCase{"0", false},
                                         FlagCase{" true\t", true}, FlagCase{"", {}},
                                         FlagCase{"True", {}}, FlagCase{"yes", {}},
                                         FlagCase{"01", {}}, FlagCase{"true false", {}}));

TEST(ScriptReader, NamesTheFlagAndItsTextWhenItIsNoBoolean) {
    EXPECT_EQ(causeOfFault([] { parseScript("<SelectAction autoConnect='maybe'/>"); }),
              L"the attribute \"autoConnect\" must be true or false, not \"maybe\"");
    EXPECT_THAT(causeOfFault([] { (void)parseRoot("<KelServerScript resultLed='on'/>"); }),
                HasSubstr(L"\"resultLed\""));
    EXPECT_THAT(causeOfFault(
                    [] { parseScript("<FlashingAction><Target enabled='on'/></FlashingAction>"); }),
                HasSubstr(L"\"enabled\""));
}

} // namespace
} // namespace Config::Tests
