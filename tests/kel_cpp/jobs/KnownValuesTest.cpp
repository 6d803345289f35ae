#include "kel_cpp/jobs/KnownValues.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Kel_cpp::Tests {

namespace {

struct ValueCase {
    std::uint16_t identifier;
    Uds::Bytes bytes;
    std::wstring text;
};

class KnownValueTest : public testing::TestWithParam<ValueCase> {};

} // namespace

TEST_P(KnownValueTest, IsScaledAsTheStandardSays) {
    const KnownValue* const known = knownValue(GetParam().identifier);
    ASSERT_NE(known, nullptr);
    EXPECT_EQ(known->length, GetParam().bytes.size());
    EXPECT_EQ(knownText(*known, GetParam().bytes), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    Parameters, KnownValueTest,
    testing::Values(ValueCase{0xF404, {0xFF}, L"100 %"}, ValueCase{0xF405, {0x7B}, L"83 \u00B0C"},
                    ValueCase{0xF405, {0x00}, L"-40 \u00B0C"}, ValueCase{0xF406, {0x80}, L"0.0 %"},
                    ValueCase{0xF406, {0x00}, L"-100.0 %"}, ValueCase{0xF407, {0x7F}, L"-0.8 %"},
                    ValueCase{0xF40A, {0x02}, L"6 kPa"},
                    ValueCase{0xF40C, {0x1A, 0xF8}, L"1726 1/min"},
                    ValueCase{0xF40D, {0x32}, L"50 km/h"}, ValueCase{0xF40E, {0x81}, L"0.5 \u00B0"},
                    ValueCase{0xF410, {0x00, 0x05}, L"0.05 g/s"}, ValueCase{0xF430, {0x03}, L"3"},
                    ValueCase{0xF442, {0x36, 0xB0}, L"14.000 V"},
                    ValueCase{0xF4A6, {0x00, 0x12, 0xD6, 0x80}, L"123456.0 km"}));

INSTANTIATE_TEST_SUITE_P(
    OtherParameters, KnownValueTest,
    testing::Values(ValueCase{0xF408, {0xC0}, L"50.0 %"}, ValueCase{0xF409, {0x40}, L"-50.0 %"},
                    ValueCase{0xF40B, {0x64}, L"100 kPa"}, ValueCase{0xF40F, {0x3C}, L"20 \u00B0C"},
                    ValueCase{0xF411, {0x80}, L"50 %"}, ValueCase{0xF41F, {0x01, 0x00}, L"256 s"},
                    ValueCase{0xF421, {0x01, 0x00}, L"256 km"}, ValueCase{0xF42C, {0x00}, L"0 %"},
                    ValueCase{0xF42F, {0x80}, L"50 %"}, ValueCase{0xF431, {0x01, 0x00}, L"256 km"},
                    ValueCase{0xF433, {0x65}, L"101 kPa"},
                    ValueCase{0xF443, {0x00, 0xFF}, L"100 %"}, ValueCase{0xF445, {0xFF}, L"100 %"},
                    ValueCase{0xF446, {0x28}, L"0 \u00B0C"}, ValueCase{0xF449, {0x33}, L"20 %"},
                    ValueCase{0xF44A, {0x33}, L"20 %"}, ValueCase{0xF44C, {0x33}, L"20 %"},
                    ValueCase{0xF44D, {0x01, 0x00}, L"256 min"},
                    ValueCase{0xF44E, {0x01, 0x00}, L"256 min"},
                    ValueCase{0xF45C, {0x82}, L"90 \u00B0C"}));

TEST(KnownValues, AreOnlyThoseOfTheStandard) {
    EXPECT_EQ(knownValue(0xF190), nullptr);
    EXPECT_EQ(knownValue(0xF4FF), nullptr);
    EXPECT_EQ(knownValue(0x0120), nullptr);
}

TEST(KnownValues, AreBytesWhenTheirLengthIsAnother) {
    EXPECT_EQ(knownText(*knownValue(0xF40D), {0x01, 0x02}), L"01 02");
    EXPECT_EQ(knownText(*knownValue(0xF40D), {}), L"");
}

TEST(NumberText, HasItsUnitAndIsBytesWhenItIsTooLong) {
    EXPECT_EQ(numberText({0x01, 0xE2, 0x40}, L"km"), L"123456 km");
    EXPECT_EQ(numberText({0x03}, L""), L"3");
    EXPECT_EQ(numberText({}, L"km"), L"");
    EXPECT_EQ(numberText({1, 2, 3, 4, 5, 6, 7, 8, 9}, L"km"), L"01 02 03 04 05 06 07 08 09");
}

} // namespace Quarlen::Kel_cpp::Tests
