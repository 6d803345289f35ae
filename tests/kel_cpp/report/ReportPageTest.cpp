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

    const ParsedPage parsed = page();

    EXPECT_THAT(parsed.texts("//div[@class='tiles']//dd"), ElementsAre("3", "2 of 3", "2"));
    EXPECT_THAT(parsed.texts("//section[contains(@class,'overview')]//td[3]"),
                ElementsAre("2 faults", "No answer", "No faults"));
    EXPECT_THAT(parsed.texts("//section[@id]//h2"), ElementsAre("ENGINE", "BRAKES", "GATEWAY"));
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

    EXPECT_EQ(page().text("//dt[.='Faults']/../dd"), "not read");
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
