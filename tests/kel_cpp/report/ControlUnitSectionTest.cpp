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
    }

    [[nodiscard]] ParsedPage section(std::uint32_t serviceMask) const {
        HtmlWriter html;
        writeControlUnitSection(html, unit, ReportParts(serviceMask), 1);
        return ParsedPage(html.take());
    }

    ControlUnitQuickTestResult unit;
};

TEST_F(ControlUnitSection, ShowsCodeTextAndStatusOfAFault) {
    unit.faults = {{0x010111, 0x8C, L"Mass air flow sensor: short circuit"}};

    const ParsedPage page = section(everyPart);

    EXPECT_EQ(page.text("//table[@class='faults']//td[@class='code']"), "P0101-11 0x010111");
    EXPECT_EQ(page.text("//table[@class='faults']//td[2]"), "Mass air flow sensor: short circuit");
    EXPECT_EQ(page.text("//td[@class='status']/code"), "0x8C");
    EXPECT_EQ(page.text("//span[contains(@class,'badge')]"), "1 fault");
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
