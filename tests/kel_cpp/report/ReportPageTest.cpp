#include "kel_cpp/report/ReportPage.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_cpp/report/ReportStyle.hpp"
#include "tests/kel_cpp/report/ParsedPage.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

std::shared_ptr<ControlUnitQuickTestResult> controlUnit(const std::wstring& name) {
    auto unit = std::make_shared<ControlUnitQuickTestResult>();
    unit->name = name;
    return unit;
}

class ReportPage : public testing::Test {
protected:
    ReportPage() {
        report.name = L"Initial";
        report.vin = L"WKLDEMO0000000042";
        report.project = L"Car_DEMO0000000042";
        report.vehicleInformation = L"VIT_A";
        report.serverVersion = L"1.2.3";
        report.reportTypes = {1};
        report.serviceMask = 0x3;
        report.dtcStatusMask = 0x08;
    }

    [[nodiscard]] std::string render() const {
        return renderReportPage(
            report, {"2026-11-20 14:05:09 UTC+01:00", "2026-11-20T14:05:09+01:00", "unused"});
    }
    [[nodiscard]] ParsedPage page() const { return ParsedPage(render()); }

    VehicleReport report;
};

TEST_F(ReportPage, NamesReportVehicleTimeTypeAndServer) {
    const ParsedPage parsed = page();

    EXPECT_EQ(parsed.text("//title"), "Initial \xE2\x80\x93 WKLDEMO0000000042");
    EXPECT_EQ(parsed.text("//h1"), "Initial");
    EXPECT_EQ(parsed.text("//span[@class='vin']"), "WKLDEMO0000000042");
    EXPECT_EQ(parsed.text("//time/@datetime"), "2026-11-20T14:05:09+01:00");
    EXPECT_THAT(parsed.texts("//dl[@class='facts']//dd"),
                ElementsAre("2026-11-20 14:05:09 UTC+01:00", "SWT, initial", "Car_DEMO0000000042",
                            "VIT_A", "0x08 (Confirmed)", "1.2.3"));
}

TEST_F(ReportPage, ShowsAnUnknownReportTypeWithItsNumber) {
    report.reportTypes = {0xFFFFFFFF};

    EXPECT_EQ(page().text("//dt[.='Report type']/../dd"), "Unknown report type 4294967295");
}

TEST_F(ReportPage, SaysWhenNoReportTypeIsGiven) {
    report.reportTypes.clear();

    EXPECT_EQ(page().text("//dt[.='Report type']/../dd"), "Type not given");
}

TEST_F(ReportPage, ListsSeveralReportTypes) {
    report.reportTypes = {0, 8};

    EXPECT_EQ(page().text("//dt[.='Report type']/../dd"), "Undefined; Fault memories");
}

TEST_F(ReportPage, SummarisesUnitsAnswersAndFaults) {
    report.controlUnits = {controlUnit(L"ENGINE"), controlUnit(L"BRAKES"), controlUnit(L"GATEWAY")};
    report.controlUnits[0]->faults = {{1, 8, L"a"}, {2, 8, L"b"}};
    report.controlUnits[1]->errorText = L"silent";
    report.controlUnits[1]->reply = ControlUnitQuickTestResult::Reply::Silent;

    const ParsedPage parsed = page();

    EXPECT_THAT(parsed.texts("//div[@class='tiles']//dd"),
                ElementsAre("3", "2 of 3", "2", "not asked for"));
    EXPECT_THAT(parsed.texts("//section[contains(@class,'overview')]//td[3]"),
                ElementsAre("2 confirmed", "No answer", "No faults"));
    EXPECT_THAT(parsed.texts("//section[@id]//h2"), ElementsAre("ENGINE", "BRAKES", "GATEWAY"));
}

TEST_F(ReportPage, ShowsNoFaultsOfAKindAsGoodOnlyWhereTheKindWasAskedFor) {
    report.controlUnits = {controlUnit(L"ENGINE")};
    report.dtcStatusMask = 0x04;
    const ParsedPage pending = page();
    EXPECT_EQ(pending.text("//dt[.='Confirmed faults']/../dd"), "not asked for");
    EXPECT_EQ(pending.text("//dt[.='Confirmed faults']/../@class"), "tile");
    EXPECT_EQ(pending.text("//dt[.='Pending faults']/../@class"), "tile good");
    EXPECT_THAT(pending.texts("//section[contains(@class,'overview')]//td[3]"),
                ElementsAre("None with this status"));

    report.dtcStatusMask = 0x0C;
    report.controlUnits[0]->statusAvailability = 0x04;
    const ParsedPage both = page();
    EXPECT_EQ(both.text("//dt[.='Confirmed faults']/../dd"), "0");
    EXPECT_EQ(both.text("//dt[.='Confirmed faults']/../@class"), "tile");
    EXPECT_EQ(both.text("//dt[.='Pending faults']/../@class"), "tile good");
}

TEST_F(ReportPage, ShowsNothingAsGoodWithoutAControlUnit) {
    report.controlUnits.clear();

    EXPECT_THAT(page().texts("//div[@class='tiles']//dl/@class"),
                testing::Each(testing::StrEq("tile")));
}

TEST_F(ReportPage, TakesAnEmptyVinForNoOtherVin) {
    report.controlUnits = {controlUnit(L"A"), controlUnit(L"B")};
    report.controlUnits[0]->identification = {{0xF190, L"VIN", L"WKL1"}};
    report.controlUnits[1]->identification = {{0xF190, L"VIN", L""}};

    EXPECT_EQ(page().count("//p[@class='notice vins']"), 0U);
}

TEST_F(ReportPage, LinksTheOverviewToTheSections) {
    report.controlUnits = {controlUnit(L"A"), controlUnit(L"B")};

    const ParsedPage parsed = page();

    EXPECT_THAT(parsed.texts("//a/@href"), ElementsAre("#unit-1", "#unit-2"));
    EXPECT_THAT(parsed.texts("//section/@id"), ElementsAre("unit-1", "unit-2"));
}

TEST_F(ReportPage, DoesNotCountFaultsThatWereNotWanted) {
    report.serviceMask = 0x1;
    report.controlUnits = {controlUnit(L"A")};

    EXPECT_EQ(page().text("//dt[.='Faults']/../dd"), "not shown");
}

TEST_F(ReportPage, NeverShowsThatThereAreNoFaultsWhenNoStatusWasAskedFor) {
    report.dtcStatusMask = 0xFFFFFF00;
    report.controlUnits = {controlUnit(L"A")};
    const ParsedPage parsed = page();

    EXPECT_EQ(parsed.text("//dt[.='Faults']/../dd"), "not asked for");
    EXPECT_EQ(parsed.text("//dt[.='Faults']/../@class"), "tile");
    EXPECT_THAT(parsed.texts("//span[contains(@class,'badge')]/@class"),
                ElementsAre("badge quiet", "badge quiet"));
    EXPECT_THAT(parsed.text("//p[@class='notice no-status']"),
                HasSubstr("whether the vehicle has faults is not known"));
    EXPECT_THAT(render(), Not(HasSubstr("No faults")));
}

TEST_F(ReportPage, HasNoNoticeOfAMissingStatusWhereFaultsAreNotWanted) {
    report.dtcStatusMask = 0;
    report.serviceMask = 0x1;
    const ParsedPage parsed = page();

    EXPECT_EQ(parsed.count("//p[@class='notice no-status']"), 0U);
    EXPECT_EQ(parsed.text("//dt[.='Faults']/../dd"), "not asked for");
}

TEST_F(ReportPage, CountsConfirmedPendingAndOtherEntriesApart) {
    report.dtcStatusMask = 0xFF;
    report.controlUnits = {controlUnit(L"A"), controlUnit(L"B")};
    report.controlUnits[0]->faults = {{1, 0x2F, L"a"}, {2, 0x24, L"b"}};
    report.controlUnits[1]->faults = {{1, 0x28, L"a"}, {3, 0x50, L"c"}};
    const ParsedPage parsed = page();

    EXPECT_EQ(parsed.text("//dt[.='Confirmed faults']/../dd"), "2");
    EXPECT_EQ(parsed.text("//dt[.='Confirmed faults']/../@class"), "tile bad");
    EXPECT_EQ(parsed.text("//dt[.='Pending faults']/../dd"), "1");
    EXPECT_EQ(parsed.text("//dt[.='Pending faults']/../@class"), "tile note");
    EXPECT_EQ(parsed.text("//dt[.='Other entries']/../dd"), "1");
}

TEST_F(ReportPage, IsGreenWhenAllControlUnitsToldThatTheyHaveNoFault) {
    report.controlUnits = {controlUnit(L"A")};

    EXPECT_EQ(page().text("//dt[.='Confirmed faults']/../@class"), "tile good");
}

TEST_F(ReportPage, IsNotGreenWhenAControlUnitDidNotTellItsFaults) {
    using Reply = ControlUnitQuickTestResult::Reply;
    const auto tile = [this] {
        const std::string confirmed = page().text("//dt[.='Confirmed faults']/../@class");
        EXPECT_EQ(page().text("//dt[.='Pending faults']/../@class"), confirmed);
        return confirmed;
    };
    report.controlUnits = {controlUnit(L"A"), controlUnit(L"B")};
    ControlUnitQuickTestResult& unit = *report.controlUnits[1];

    unit.reply = Reply::Silent;
    EXPECT_EQ(tile(), "tile");
    unit.reply = Reply::Answered;
    unit.errorText = L"fault memory: refused";
    EXPECT_EQ(tile(), "tile");
    unit.errorText.clear();
    unit.statusAvailability = 0x04;
    EXPECT_EQ(tile(), "tile");
    unit.statusAvailability = 0xFF;
    unit.faultCount = 1;
    EXPECT_EQ(tile(), "tile");
    unit.faultCount = 0;
    unit.faultsAskedFor = false;
    EXPECT_EQ(tile(), "tile");
}

TEST_F(ReportPage, CountsAControlUnitThatRefusedAsAnswered) {
    report.controlUnits = {controlUnit(L"A"), controlUnit(L"B")};
    report.controlUnits[0]->errorText = L"fault memory: refused";
    report.controlUnits[1]->errorText = L"unknown";
    report.controlUnits[1]->reply = ControlUnitQuickTestResult::Reply::NotAsked;

    EXPECT_EQ(page().text("//dt[.='Answered']/../dd"), "1 of 2");
    EXPECT_EQ(page().text("//dt[.='Answered']/../@class"), "tile bad");
}

TEST_F(ReportPage, WarnsOfControlUnitsWithDifferentVins) {
    report.controlUnits = {controlUnit(L"A"), controlUnit(L"B"), controlUnit(L"C")};
    report.controlUnits[0]->identification = {{0xF190, L"VIN", L"WKL1"}};
    report.controlUnits[1]->identification = {{0xF190, L"VIN", L"WKL2"}};
    report.controlUnits[2]->identification = {{0xF190, L"VIN", L"WKL1"}};

    EXPECT_EQ(page().text("//p[@class='notice vins']"),
              "The control units do not have the same VIN: WKL1 (A, C), WKL2 (B).");
}

TEST_F(ReportPage, DoesNotWarnOfControlUnitsWithoutAVin) {
    report.controlUnits = {controlUnit(L"A"), controlUnit(L"B")};
    report.controlUnits[0]->identification = {{0xF190, L"VIN", L"WKL1"}, {0xF187, L"Part", L"1"}};
    report.controlUnits[1]->identification = {
        {0xF190, L"VIN", L"not supported", IdentificationValue::State::NotSupported},
        {0xF187, L"Part", L"2"}};

    EXPECT_EQ(page().count("//p[@class='notice vins']"), 0U);
}

TEST_F(ReportPage, SaysWhichControlUnitsWereLeftInAProgramming) {
    report.controlUnits = {controlUnit(L"A"), controlUnit(L"B"), controlUnit(L"C")};
    for (const std::size_t interrupted : {1U, 2U}) {
        report.controlUnits[interrupted]->identification = {
            {0xF195, L"Software", L"not valid", IdentificationValue::State::Interrupted}};
    }

    EXPECT_EQ(page().text("//p[@class='error interrupted']"),
              "The programming was interrupted, and the software is not valid: B, C.");
}

TEST_F(ReportPage, ShowsTheMileageWhereItWasAskedFor) {
    report.controlUnits = {controlUnit(L"A"), controlUnit(L"B"), controlUnit(L"C")};
    EXPECT_EQ(page().count("//dt[.='Mileage']"), 0U);

    report.controlUnits[0]->mileage = L"";
    EXPECT_EQ(page().text("//dt[.='Mileage']/../dd"), "not supported");

    report.controlUnits[1]->mileage = L"10 km";
    report.controlUnits[2]->mileage = L"12 km";
    EXPECT_EQ(page().text("//dt[.='Mileage']/../dd"), "10 km (B), 12 km (C)");
}

TEST_F(ReportPage, ShowsVerdictsAndFlashResultsOfTheRun) {
    EXPECT_EQ(page().count("//section[contains(@class,'run')]"), 0U);
    report.runResults = {
        {"Procedure", L"Otx_ReadIdent", RunResult::Outcome::Passed, {L"Identification read"}},
        {"Flash", L"ENGINE", RunResult::Outcome::Failed, {L"session \"A\": done", L"no answer"}},
        {"Procedure", L"Otx_Slow", RunResult::Outcome::Cancelled, {}},
        {"Service", L"HexService", RunResult::Outcome::Running, {}}};
    const ParsedPage parsed = page();

    EXPECT_THAT(parsed.texts("//section[contains(@class,'run')]//td[1]"),
                ElementsAre("Procedure", "Flash", "Procedure", "Service"));
    EXPECT_THAT(parsed.texts("//section[contains(@class,'run')]//strong"),
                ElementsAre("Otx_ReadIdent", "ENGINE", "Otx_Slow", "HexService"));
    EXPECT_THAT(parsed.texts("//section[contains(@class,'run')]//p"),
                ElementsAre("Identification read", "session \"A\": done", "no answer"));
    EXPECT_THAT(parsed.texts("//section[contains(@class,'run')]//span"),
                ElementsAre("Passed", "Failed", "Cancelled", "Not ended"));
    EXPECT_THAT(parsed.texts("//section[contains(@class,'run')]//span/@class"),
                ElementsAre("badge good", "badge bad", "badge note", "badge quiet"));
}

TEST_F(ReportPage, ListsWantedPartsThatAreNotAvailable) {
    report.serviceMask = 0x3 | 0x8 | 0x200;

    EXPECT_THAT(page().texts("//div[contains(@class,'unavailable')]//li"),
                ElementsAre("Coding strings", "Fingerprints"));
}

TEST_F(ReportPage, KeepsQuietAboutUnavailablePartsThatNobodyWanted) {
    EXPECT_EQ(page().count("//div[contains(@class,'unavailable')]"), 0U);
}

TEST_F(ReportPage, SaysThatNoServiceWasWanted) {
    report.serviceMask = 0;

    EXPECT_EQ(page().text("//main/p[@class='notice']"),
              "No report service was requested: only answers are shown.");
}

TEST_F(ReportPage, IsReadableWithoutVehicleUnitsAndNames) {
    report = {};

    const ParsedPage parsed = page();

    EXPECT_EQ(parsed.text("//h1"), "Report");
    EXPECT_EQ(parsed.text("//span[@class='vin']"), "not read");
    EXPECT_EQ(parsed.text("//section[contains(@class,'overview')]/p"),
              "No control unit was tested.");
}

TEST_F(ReportPage, LeavesOutMissingControlUnits) {
    report.controlUnits = {nullptr, controlUnit(L"A"), nullptr};

    EXPECT_THAT(page().texts("//section[@id]//h2"), ElementsAre("A"));
}

TEST_F(ReportPage, LoadsNothingAndRunsNothing) {
    report.controlUnits = {controlUnit(L"A")};
    const ParsedPage parsed = page();

    EXPECT_EQ(parsed.count("//script | //link | //img | //iframe | //*[@src] | //@*[starts-with"
                           "(name(),'on')]"),
              0U);
    EXPECT_EQ(parsed.count("//*[@href and not(starts-with(@href,'#'))]"), 0U);
    EXPECT_THAT(parsed.text("//meta/@content[contains(.,'default-src')]"),
                HasSubstr("default-src 'none'"));
    EXPECT_THAT(std::string(reportStyle), Not(HasSubstr("url(")));
    EXPECT_THAT(std::string(reportStyle), Not(HasSubstr("@import")));
}

TEST_F(ReportPage, TakesMarkupInTextsAsText) {
    const std::wstring hostile = L"</title></style><script>x</script>\"'&";
    report.name = report.vin = report.project = hostile;
    report.vehicleInformation = report.serverVersion = hostile;

    const ParsedPage parsed = page();

    EXPECT_EQ(parsed.count("//script"), 0U);
    EXPECT_EQ(parsed.text("//h1"), "</title></style><script>x</script>\"'&");
}

TEST_F(ReportPage, IsStyledForPaperDarkScreensAndPhones) {
    const std::string style(reportStyle);

    EXPECT_THAT(style, HasSubstr("size: A4"));
    EXPECT_THAT(style, HasSubstr("prefers-color-scheme: dark"));
    EXPECT_THAT(style, HasSubstr("max-width: 40rem"));
    EXPECT_EQ(style.find_first_of("<&"), std::string::npos);
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
