#include "kel_cpp/report/ReportTexts.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct TypeCase {
    std::uint32_t type;
    std::string text;
};

class ReportTypeText : public testing::TestWithParam<TypeCase> {};

TEST_P(ReportTypeText, PutsTheNumberIntoWords) {
    EXPECT_EQ(reportTypeText(GetParam().type), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(AllTypes, ReportTypeText,
                         testing::Values(TypeCase{0, "Undefined"}, TypeCase{1, "SWT, initial"},
                                         TypeCase{2, "SWT, final"},
                                         TypeCase{3, "SWT, faults deleted"}, TypeCase{4, "Tool"},
                                         TypeCase{5, "Tool, faults deleted"}, TypeCase{6, "CVCR"},
                                         TypeCase{7, "Control unit identification"},
                                         TypeCase{8, "Fault memories"},
                                         TypeCase{9, "Unknown report type 9"},
                                         TypeCase{0xFFFFFFFF, "Unknown report type 4294967295"}));

struct NotationCase {
    std::uint32_t code;
    std::optional<std::uint8_t> format;
    std::string notation;
};

class DtcNotation : public testing::TestWithParam<NotationCase> {};

TEST_P(DtcNotation, IsThatOfItsFormat) {
    EXPECT_EQ(dtcNotation(GetParam().code, GetParam().format), GetParam().notation);
}

INSTANTIATE_TEST_SUITE_P(LetterDigitsAndFailureType, DtcNotation,
                         testing::Values(NotationCase{0x030100, 0x00, "P0301-00"},
                                         NotationCase{0x3FFFFF, 0x04, "P3FFF-FF"},
                                         NotationCase{0x400012, 0x00, "C0000-12"},
                                         NotationCase{0x8A1B2C, 0x00, "B0A1B-2C"},
                                         NotationCase{0xC10087, 0x04, "U0100-87"},
                                         NotationCase{0xFFFFFF, 0, "U3FFF-FF"},
                                         NotationCase{0, 0, "P0000-00"},
                                         NotationCase{0xAB030100, 0, "P0301-00"},
                                         NotationCase{0x030100, std::nullopt, "P0301-00"}));

INSTANTIATE_TEST_SUITE_P(ThreeBytes, DtcNotation,
                         testing::Values(NotationCase{0x030100, 0x01, "0x030100"},
                                         NotationCase{0xAB030100, 0x01, "0x030100"},
                                         NotationCase{0x030100, 0x03, "0x030100"},
                                         NotationCase{0x030100, 0x7F, "0x030100"}));

INSTANTIATE_TEST_SUITE_P(SpnAndFmi, DtcNotation,
                         testing::Values(NotationCase{0x640003, 0x02, "SPN 100 FMI 3"},
                                         NotationCase{0x08021F, 0x02, "SPN 520 FMI 31"},
                                         NotationCase{0xFFFFFF, 0x02, "SPN 524287 FMI 31"},
                                         NotationCase{0x0000E0, 0x02, "SPN 458752 FMI 0"}));

TEST(DtcFormatRemark, TellsOfAFormatThatIsNotTheUsualOne) {
    EXPECT_EQ(dtcFormatRemark(0x00), "");
    EXPECT_EQ(dtcFormatRemark(0x04), "");
    EXPECT_EQ(dtcFormatRemark(0x01),
              "The codes are the three bytes of ISO 14229-1, with the manufacturer's meaning.");
    EXPECT_EQ(dtcFormatRemark(0x02), "The codes are in the format of SAE J1939-73.");
    EXPECT_EQ(dtcFormatRemark(0x03), "The codes are in the format of ISO 11992-4.");
    EXPECT_EQ(dtcFormatRemark(0x05), "The codes are in a format that is not known here (0x05).");
}

TEST(DtcFormatRemark, TellsOfAFormatThatIsNotTold) {
    EXPECT_EQ(
        dtcFormatRemark(std::nullopt),
        "The control unit does not tell the format of its codes: they are shown as ISO 15031-6 "
        "has them.");
}

TEST(UnavailableReportServices, AreNoneWhenOnlyAvailablePartsAreWanted) {
    EXPECT_THAT(unavailableReportServices(0x7), IsEmpty());
    EXPECT_THAT(unavailableReportServices(0), IsEmpty());
}

TEST(UnavailableReportServices, AreNamedInTheOrderOfTheirBits) {
    EXPECT_THAT(unavailableReportServices(0xFEF & ~0x7U),
                ElementsAre("Coding strings", "Cleared errors", "Additional services",
                            "Actions before the test", "Actions after the test", "Fingerprints",
                            "Flash identifiers", "Vehicle report services"));
}

TEST(UnavailableReportServices, CollectTheBitsWithoutANameInOneText) {
    EXPECT_THAT(unavailableReportServices(0x10), ElementsAre("Unknown services (0x10)"));
    EXPECT_EQ(unavailableReportServices(0xFFFFFFFF).back(), "Unknown services (0xFFFFF010)");
}

TEST(DtcStatusBits, AreTheEightBitsInOrder) {
    for (std::size_t bit = 0; bit < dtcStatusBits.size(); ++bit) {
        EXPECT_EQ(dtcStatusBits.at(bit).mask, 1U << bit);
    }
    EXPECT_EQ(dtcStatusBits[3].scriptName, "Confirmed");
}

/// The two bits that tell of a test that has not been completed are no fault.
TEST(DtcStatusBits, TellOfAFaultExceptThoseOfTestsThatAreNotCompleted) {
    for (const DtcStatusBit& bit : dtcStatusBits) {
        EXPECT_EQ(bit.fault, bit.mask != 0x10 && bit.mask != 0x40) << bit.scriptName;
    }
}

TEST(DtcStatusMaskText, NamesTheBitsThatAreAskedFor) {
    EXPECT_EQ(dtcStatusMaskText(0x0D), "0x0D (Test failed, Pending, Confirmed)");
    EXPECT_EQ(dtcStatusMaskText(0), "0x00 (none)");
}

TEST(DtcStatusMaskText, ShowsOnlyTheEightBitsOfAnUnknownStatus) {
    EXPECT_EQ(dtcStatusMaskText(0xFFFFFFFF), "0xFF (every status)");
}

TEST(Hexadecimal, FillsUpToTheDigitsAskedFor) {
    EXPECT_EQ(hexadecimal(0xA, 4), "0x000A");
    EXPECT_EQ(hexadecimal(0, 2), "0x00");
    EXPECT_EQ(hexadecimal(0x12345, 2), "0x12345");
}

/// 2026-01-02 03:04:05 UTC
constexpr std::time_t moment = 1767323045;

std::tm calendar(int day, int hour, int minute) {
    std::tm local{};
    local.tm_year = 126;
    local.tm_mon = 0;
    local.tm_mday = day;
    local.tm_hour = hour;
    local.tm_min = minute;
    local.tm_sec = 5;
    return local;
}

TEST(TimeTexts, SpellTheMomentForReadersMachinesAndFileNames) {
    const TimeTexts texts = timeTexts(calendar(2, 3, 4), moment);

    EXPECT_EQ(texts.forReaders, "2026-01-02 03:04:05 UTC+00:00");
    EXPECT_EQ(texts.forMachines, "2026-01-02T03:04:05+00:00");
    EXPECT_EQ(texts.forFileNames, "20260102_030405");
}

TEST(TimeTexts, TellHowFarLocalTimeIsFromUtc) {
    EXPECT_EQ(timeTexts(calendar(2, 8, 49), moment).forReaders, "2026-01-02 08:49:05 UTC+05:45");
    EXPECT_EQ(timeTexts(calendar(1, 23, 34), moment).forReaders, "2026-01-01 23:34:05 UTC-03:30");
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
