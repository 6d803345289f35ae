#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "kel_server_lib/tables/DtcStatusTable.hpp"
#include "kel_server_lib/tables/ReportServiceTable.hpp"
#include "kel_server_lib/tables/ReportTypeTable.hpp"

namespace Quarlen::Tests {

struct TextAndValue {
    const wchar_t* text;
    std::uint32_t value;
};

class DtcStatusTable : public testing::TestWithParam<TextAndValue> {};
class ReportServiceTable : public testing::TestWithParam<TextAndValue> {};
class ReportTypeTable : public testing::TestWithParam<TextAndValue> {};

TEST_P(DtcStatusTable, GivesTheTextsBit) {
    EXPECT_EQ(dtcStatusFromText(GetParam().text), GetParam().value);
}

TEST_P(ReportServiceTable, GivesTheTextsBit) {
    EXPECT_EQ(reportServiceFromText(GetParam().text), GetParam().value);
}

TEST_P(ReportTypeTable, GivesTheTextsNumber) {
    EXPECT_EQ(reportTypeFromText(GetParam().text), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(Rows, DtcStatusTable,
                         testing::Values(TextAndValue{L"Empty", 0}, TextAndValue{L"TestFailed", 1},
                                         TextAndValue{L"TestFailedThisMonitoringCycle", 2},
                                         TextAndValue{L"Pending", 4}, TextAndValue{L"Confirmed", 8},
                                         TextAndValue{L"TestNotCompletedSinceLastClear", 16},
                                         TextAndValue{L"TestFailedSinceLastClear", 32},
                                         TextAndValue{L"TestNotCompletedThisMonitoringCycle", 64},
                                         TextAndValue{L"WarningIndicatorRequested", 128}));

INSTANTIATE_TEST_SUITE_P(Unknown, DtcStatusTable,
                         testing::Values(TextAndValue{L"confirmed", 0xFFFFFFFF},
                                         TextAndValue{L"", 0xFFFFFFFF},
                                         TextAndValue{L"Confirmed ", 0xFFFFFFFF},
                                         TextAndValue{L"Confirme", 0xFFFFFFFF}));

INSTANTIATE_TEST_SUITE_P(
    Rows, ReportServiceTable,
    testing::Values(TextAndValue{L"IdentValues", 1}, TextAndValue{L"CurrentDtcs", 2},
                    TextAndValue{L"SupportedDtcs", 4}, TextAndValue{L"CodingStrings", 8},
                    TextAndValue{L"ClearErrors", 32}, TextAndValue{L"AdditionalServices", 64},
                    TextAndValue{L"PreActions", 128}, TextAndValue{L"PostActions", 256},
                    TextAndValue{L"ReadFingerprint", 512}, TextAndValue{L"ReadFlashId", 1024},
                    TextAndValue{L"VehicleReportServices", 2048}));

INSTANTIATE_TEST_SUITE_P(Unknown, ReportServiceTable,
                         testing::Values(TextAndValue{L"identvalues", 0xFFFFFFFF},
                                         TextAndValue{L"", 0xFFFFFFFF},
                                         TextAndValue{L" IdentValues", 0xFFFFFFFF}));

INSTANTIATE_TEST_SUITE_P(Rows, ReportTypeTable,
                         testing::Values(TextAndValue{L"Undefined", 0},
                                         TextAndValue{L"SWT_Initial", 1},
                                         TextAndValue{L"SWT_Final", 2},
                                         TextAndValue{L"SWT_DelDTCs", 3}, TextAndValue{L"Tool", 4},
                                         TextAndValue{L"Tool_DelDTCs", 5}, TextAndValue{L"CVCR", 6},
                                         TextAndValue{L"ECU_Identification", 7},
                                         TextAndValue{L"ReadDTC", 8}));

INSTANTIATE_TEST_SUITE_P(Unknown, ReportTypeTable,
                         testing::Values(TextAndValue{L"swt_initial", 0xFFFFFFFF},
                                         TextAndValue{L"", 0xFFFFFFFF},
                                         TextAndValue{L"Tool_", 0xFFFFFFFF}));

TEST(TextTables, CompareCharactersBehindAZeroToo) {
    const std::wstring behindAZero(L"\0x", 2);

    EXPECT_EQ(dtcStatusFromText(L"Confirmed" + behindAZero), 0xFFFFFFFF);
    EXPECT_EQ(reportServiceFromText(L"IdentValues" + behindAZero), 0xFFFFFFFF);
    EXPECT_EQ(reportTypeFromText(L"Tool" + behindAZero), 0xFFFFFFFF);
}

TEST(TextTables, ListTheirTexts) {
    EXPECT_EQ(dtcStatusTexts().size(), 9U);
    EXPECT_EQ(dtcStatusTexts().front(), L"Empty");
    EXPECT_EQ(reportServiceTexts().size(), 11U);
    EXPECT_EQ(reportServiceTexts().back(), L"VehicleReportServices");
    EXPECT_EQ(reportTypeTexts().size(), 9U);
    EXPECT_EQ(reportTypeTexts().back(), L"ReadDTC");
}

} // namespace Quarlen::Tests
