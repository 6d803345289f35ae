#include "kel_cpp/report/ControlUnitSection.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/kel_cpp/report/ParsedPage.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::ElementsAre;

constexpr std::uint32_t everyPart = 0x7;

class ControlUnitSection : public testing::Test {
protected:
    ControlUnitSection() {
        unit.name = L"ENGINE";
        unit.link = L"UDS_CAN_ENGINE";
        unit.dtcFormat = 0x00;
    }

    [[nodiscard]] ParsedPage section(std::uint32_t serviceMask) const {
        HtmlWriter html;
        writeControlUnitSection(html, unit, ReportParts(serviceMask, askedStatus), 1);
        return ParsedPage(html.take());
    }
    [[nodiscard]] std::string badge() const {
        const ParsedPage page = section(everyPart);
        return page.text("//span[contains(@class,'badge')]") + ", " +
               page.text("//span[contains(@class,'badge')]/@class");
    }

    ControlUnitQuickTestResult unit;
    std::uint32_t askedStatus = 0xFF;
};

TEST_F(ControlUnitSection, SaysNoFaultsOnlyWhereConfirmedOnesWereAskedFor) {
    askedStatus = 0x08;
    EXPECT_EQ(badge(), "No faults, badge good");
    askedStatus = 0xF7;
    EXPECT_EQ(badge(), "None with this status, badge quiet");
}

TEST_F(ControlUnitSection, ShowsCodeTextAndStatusOfAFault) {
    unit.faults = {{0x010111, 0x8C, L"Mass air flow sensor: short circuit"}};

    const ParsedPage page = section(everyPart);

    EXPECT_EQ(page.text("//table[@class='faults']//td[@class='code']"), "P0101-11 0x010111");
    EXPECT_EQ(page.text("//table[@class='faults']//td[2]"), "Mass air flow sensor: short circuit");
    EXPECT_EQ(page.text("//td[@class='status']/code"), "0x8C");
    EXPECT_EQ(page.text("//span[contains(@class,'badge')]"), "1 confirmed");
}

TEST_F(ControlUnitSection, HighlightsTheStatusBitsThatAreSet) {
    unit.faults = {{0x010111, 0x58, L"fault"}};

    const ParsedPage page = section(everyPart);

    EXPECT_EQ(page.count("//ul[@class='bits']/li"), 8U);
    EXPECT_THAT(page.texts("//li[starts-with(@class,'set')]"),
                ElementsAre("Confirmed set", "Not completed since clear set",
                            "Not completed this cycle set"));
    EXPECT_THAT(page.texts("//li[@class='set fault']/@title"), ElementsAre("Confirmed"));
    EXPECT_EQ(page.count("//li[@class='unset']/span[.=' not set']"), 5U);
}

TEST_F(ControlUnitSection, SaysThatThereAreNoFaults) {
    const ParsedPage page = section(everyPart);

    EXPECT_EQ(page.text("//p[@class='none']"), "No faults with the requested status.");
    EXPECT_EQ(page.text("//span[contains(@class,'badge')]"), "No faults");
}

TEST_F(ControlUnitSection, SaysWhenAFaultHasNoText) {
    unit.faults = {{0x010111, 0x08, L""}};

    EXPECT_EQ(section(everyPart).text("//table[@class='faults']//td[2]"), "No text for this code");
}

TEST_F(ControlUnitSection, PointsOutThatTheControlUnitCountsMoreFaultsThanItLists) {
    unit.faults = {{0x010111, 0x08, L"fault"}};
    unit.faultCount = 3;

    EXPECT_EQ(section(everyPart).text("//p[@class='notice']"),
              "The control unit counts 3 faults, but its list holds 1.");
}

TEST_F(ControlUnitSection, PointsOutThatTheControlUnitCountsFewerFaultsThanItLists) {
    unit.faults = {{0x010111, 0x08, L"fault"}, {0x020222, 0x08, L"other"}};
    unit.faultCount = 1;

    EXPECT_EQ(section(everyPart).text("//p[@class='notice']"),
              "The control unit counts 1 fault, but its list holds 2.");
}

TEST_F(ControlUnitSection, ShowsIdentificationValues) {
    unit.identification = {{0xF190, L"VIN", L"WKLDEMO0000000042"}, {0x0102, L"Part", L"8 & 9"}};

    EXPECT_THAT(section(everyPart).texts("//table[@class='identification']/tbody/tr/td"),
                ElementsAre("0xF190", "VIN", "WKLDEMO0000000042", "0x0102", "Part", "8 & 9"));
}

TEST_F(ControlUnitSection, FoldsTheListOfSupportedCodes) {
    unit.supported = {{0x010111, 0x50, L"one"}, {0x020222, 0x00, L""}};

    const ParsedPage page = section(everyPart);

    EXPECT_EQ(page.text("//details[not(@open)]/summary"), "2 supported fault codes");
    EXPECT_THAT(page.texts("//details//tbody//td"),
                ElementsAre("P0101-11 0x010111", "one", "0x50", "P0202-22 0x020222",
                            "No text for this code", "0x00"));
}

TEST_F(ControlUnitSection, ShowsOnlyThePartsThatAreWanted) {
    unit.faults = {{0x010111, 0x08, L"fault"}};
    unit.identification = {{0xF190, L"VIN", L"V"}};
    unit.supported = {{0x010111, 0x08, L"fault"}};

    EXPECT_THAT(section(0x1).texts("//table/@class"), ElementsAre("identification"));
    EXPECT_THAT(section(0x2).texts("//table/@class"), ElementsAre("faults"));
    EXPECT_THAT(section(0x4).texts("//table/@class"), ElementsAre("supported"));
    EXPECT_EQ(section(0x1).text("//span[contains(@class,'badge')]"), "Answered");
}

TEST_F(ControlUnitSection, ShowsTheErrorOfAControlUnitThatDidNotAnswer) {
    unit.errorText = L"no response within 1000 ms";
    unit.reply = ControlUnitQuickTestResult::Reply::Silent;

    const ParsedPage page = section(everyPart);

    EXPECT_EQ(page.text("//p[@class='error']"), "No answer: no response within 1000 ms");
    EXPECT_EQ(page.text("//span[contains(@class,'badge')]"), "No answer");
    EXPECT_EQ(page.count("//table | //h3 | //details"), 0U);
}

TEST_F(ControlUnitSection, KeepsWhatWasReadBeforeAnError) {
    unit.errorText = L"link lost";
    unit.identification = {{0xF190, L"VIN", L"V"}};

    const ParsedPage page = section(everyPart);

    EXPECT_EQ(page.text("//p[@class='error']"), "Incomplete: link lost");
    EXPECT_THAT(page.texts("//table/@class"), ElementsAre("identification"));
    EXPECT_EQ(page.count("//p[@class='none']"), 0U);
}

TEST_F(ControlUnitSection, KeepsTheFaultsAndCodesThatWereReadBeforeAnError) {
    unit.errorText = L"link lost";
    unit.faults = {{0x010111, 0x08, L"fault"}};
    unit.supported = {{0x010111, 0x08, L"fault"}};

    EXPECT_THAT(section(everyPart).texts("//table/@class"), ElementsAre("faults", "supported"));
}

TEST_F(ControlUnitSection, SaysThatAControlUnitWasNotTested) {
    unit.errorText = L"no control unit of that name";
    unit.reply = ControlUnitQuickTestResult::Reply::NotAsked;

    EXPECT_EQ(section(everyPart).text("//p[@class='error']"),
              "Not tested: no control unit of that name");
    EXPECT_EQ(badge(), "Not tested, badge bad");
}

TEST_F(ControlUnitSection, CallsAControlUnitThatAnsweredARefusalIncomplete) {
    unit.errorText = L"fault memory: refused";

    EXPECT_EQ(badge(), "Incomplete, badge bad");
}

TEST_F(ControlUnitSection, NeverSaysNoFaultsWhenNoStatusWasAskedFor) {
    askedStatus = 0x100;
    const ParsedPage page = section(everyPart);

    EXPECT_EQ(badge(), "Faults not asked for, badge quiet");
    EXPECT_EQ(page.text("//h3[.='Faults']/following-sibling::p"),
              "Not asked for: the script names no status.");
    EXPECT_EQ(page.count("//*[@class='none']"), 0U);
}

TEST_F(ControlUnitSection, NeverSaysNoFaultsOfAQuickTestThatAskedForNoStatus) {
    unit.faultsAskedFor = false;

    EXPECT_EQ(badge(), "Faults not asked for, badge quiet");
    EXPECT_EQ(section(everyPart).count("//*[@class='none']"), 0U);
}

TEST_F(ControlUnitSection, CountsConfirmedAndPendingFaultsApart) {
    unit.faults = {{1, 0x2F, L"a"}, {2, 0x24, L"b"}, {3, 0x26, L"c"}, {4, 0x50, L"d"}};

    EXPECT_EQ(badge(), "1 confirmed, 2 pending, 1 other, badge bad");
}

TEST_F(ControlUnitSection, IsNotRedForPendingFaultsAlone) {
    unit.faults = {{2, 0x24, L"b"}};

    EXPECT_EQ(badge(), "1 pending, badge note");
}

TEST_F(ControlUnitSection, IsGreyForEntriesThatTellOfNoFault) {
    unit.faults = {{4, 0x50, L"d"}};

    EXPECT_EQ(badge(), "1 other, badge quiet");
}

TEST_F(ControlUnitSection, CountsAFailedTestAsPendingWhereThereIsNoPendingBit) {
    unit.statusAvailability = 0x01;
    unit.faults = {{1, 0x09, L"a"}};

    EXPECT_EQ(badge(), "1 pending, badge note");
}

TEST_F(ControlUnitSection, CountsAFailureOfThisCycleAsPendingWhereThereIsNoPendingBit) {
    unit.statusAvailability = 0x02;
    unit.faults = {{1, 0x02, L"a"}};

    EXPECT_EQ(badge(), "1 pending, badge note");
}

TEST_F(ControlUnitSection, NeverSaysNoFaultsWhenFaultsAreCountedAndNotListed) {
    unit.faultCount = 2;

    EXPECT_EQ(badge(), "2 faults not listed, badge bad");
    EXPECT_EQ(section(everyPart).count("//*[@class='none']"), 0U);
}

TEST_F(ControlUnitSection, ShowsStatusBitsThatTheControlUnitDoesNotSupport) {
    unit.statusAvailability = 0x0D;
    unit.faults = {{0x010111, 0xAF, L"fault"}};

    const ParsedPage page = section(everyPart);

    EXPECT_THAT(
        page.texts("//li[@class='absent']"),
        ElementsAre("Failed this cycle not supported", "Not completed since clear not supported",
                    "Failed since clear not supported", "Not completed this cycle not supported",
                    "Warning indicator not supported"));
    EXPECT_THAT(page.texts("//li[@class='set fault']/@title"),
                ElementsAre("TestFailed", "Pending", "Confirmed"));
    EXPECT_EQ(section(0x2).text("//p[@class='soft']"),
              "Struck through: what the control unit does not support.");
}

TEST_F(ControlUnitSection, HasNothingToRemarkOnUsualCodesWithEveryStatusBit) {
    unit.faults = {{0x010111, 0xAF, L"fault"}};

    EXPECT_EQ(section(0x2).count("//p"), 0U);
}

TEST_F(ControlUnitSection, SaysWhichStatusThatWasAskedForIsNotSupported) {
    unit.statusAvailability = 0x09;
    askedStatus = 0x0C;

    EXPECT_EQ(section(everyPart).text("//p[@class='notice']"),
              "The control unit does not support this status that was asked for: 0x04 (Pending).");
    EXPECT_EQ(badge(), "No faults, badge good");
}

TEST_F(ControlUnitSection, NeverSaysNoFaultsWhenNothingThatWasAskedForIsSupported) {
    unit.statusAvailability = 0x09;
    askedStatus = 0x04;

    EXPECT_EQ(badge(), "Status not supported, badge quiet");
    EXPECT_EQ(section(everyPart).count("//*[@class='none']"), 0U);
}

TEST_F(ControlUnitSection, ShowsCodesInTheirOwnNotation) {
    unit.dtcFormat = 0x02;
    unit.faults = {{0x640003, 0x08, L"fault"}};
    const ParsedPage page = section(everyPart);

    EXPECT_EQ(page.text("//table[@class='faults']//td[@class='code']"), "SPN 100 FMI 3 0x640003");
    EXPECT_EQ(page.text("//h3[.='Faults']/following-sibling::p"),
              "The codes are in the format of SAE J1939-73.");
}

TEST_F(ControlUnitSection, ShowsACodeThatHasNoOtherNotationOnce) {
    unit.dtcFormat = 0x01;
    unit.faults = {{0x030100, 0x08, L"fault"}};

    EXPECT_EQ(section(everyPart).text("//table[@class='faults']//td[@class='code']"), "0x030100");
}

TEST_F(ControlUnitSection, ShowsFreezeFramesAndExtendedDataOfAFault) {
    DtcReading fault{0x030100, 0x2F, L"fault"};
    fault.freezeFrames = {{1, {{0xF40C, L"Engine speed", L"1726 1/min"}}, {0x01, 0x20, 0xAB}}};
    fault.extendedData = {{1, L"Occurrences", L"3"}, {0x10, L"Mileage", L"123456 km"}};
    unit.faults = {fault, {0x030200, 0x08, L"other"}};
    const ParsedPage page = section(everyPart);

    EXPECT_EQ(page.count("//tr[@class='records']"), 1U);
    EXPECT_THAT(page.texts("//tr[@class='records']//h4"),
                ElementsAre("Freeze frame 1", "Extended data"));
    EXPECT_THAT(page.texts("//tr[@class='records']//li"),
                ElementsAre("Engine speed 1726 1/min",
                            "Bytes of identifiers that are not known here 01 20 AB",
                            "Occurrences 3", "Mileage 123456 km"));
}

TEST_F(ControlUnitSection, SaysWhyThereAreNoRecords) {
    unit.faults = {{0x030100, 0x2F, L"fault"}};
    unit.faults[0].recordsText = L"no freeze frame is stored";

    EXPECT_EQ(section(everyPart).text("//tr[@class='records']/td[2]"), "no freeze frame is stored");
}

TEST_F(ControlUnitSection, ShowsThatAProgrammingWasInterrupted) {
    using State = IdentificationValue::State;
    unit.identification = {{0xF195, L"Software version", L"not valid", State::Interrupted}};

    EXPECT_EQ(badge(), "Software not valid, badge bad");
    EXPECT_EQ(section(0x2).text("//p[@class='error']"),
              "The software is not valid: the programming of this control unit was interrupted.");
    EXPECT_EQ(section(everyPart).text("//td[@class='value interrupted']"), "not valid");
}

TEST_F(ControlUnitSection, SetsValuesApartThatWereNotRead) {
    using State = IdentificationValue::State;
    unit.identification = {{0xF190, L"VIN", L"not supported", State::NotSupported},
                           {0xF187, L"Part", L"refused", State::Refused},
                           {0xF18C, L"Serial", L""}};

    EXPECT_THAT(section(everyPart).texts("//td[@class='value soft']"),
                ElementsAre("not supported", "refused", "empty"));
}

TEST_F(ControlUnitSection, TakesMarkupInTextsAsText) {
    unit.name = L"<script>alert(1)</script>";
    unit.link = L"\"><b>";
    unit.faults = {{0x010111, 0x08, L"</td><img src=x onerror=y>"}};

    const ParsedPage page = section(everyPart);

    EXPECT_EQ(page.count("//script | //img | //b"), 0U);
    EXPECT_EQ(page.text("//h2"), "<script>alert(1)</script>");
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
