#include "uds/Uds.hpp"

#include <gtest/gtest.h>

#include "tests/support/HexBytes.hpp"

namespace Quarlen::Uds::Tests {
namespace {

using Quarlen::Tests::hex;

TEST(Uds, TellsAWholeNegativeResponseFromOthers) {
    EXPECT_TRUE(isNegative({0x7F, 0x22, 0x31}));
    EXPECT_TRUE(isNegative({0x7F, 0x22, 0x00}));
    EXPECT_FALSE(isNegative({0x7F, 0x22}));
    EXPECT_FALSE(isNegative({0x62, 0xF1, 0x90}));
    EXPECT_FALSE(isNegative({}));
}

TEST(Uds, WritesBytesInHexadecimal) {
    EXPECT_EQ(hexText({0x22, 0xF1, 0x90}), L"22 F1 90");
    EXPECT_EQ(hexText({0x0A}), L"0A");
    EXPECT_EQ(hexText({}), L"");
}

TEST(Uds, PutsNumbersIntoMessagesMostSignificantByteFirst) {
    Bytes message{0x34};
    appendNumber(message, 0x123456, 4);
    EXPECT_EQ(hex(message), "34 00 12 34 56");
    EXPECT_EQ(numberAt(message, 1, 4), 0x123456U);
    EXPECT_EQ(numberAt(message, 3, 1), 0x34U);
}

struct Suppression {
    const char* request;
    bool suppressed;
};

class SuppressPositiveResponse : public testing::TestWithParam<Suppression> {};

TEST_P(SuppressPositiveResponse, IsTheHighestBitOfASubFunctionOnly) {
    EXPECT_EQ(suppressesPositiveResponse(hex(GetParam().request)), GetParam().suppressed);
}

INSTANTIATE_TEST_SUITE_P(Requests, SuppressPositiveResponse,
                         testing::Values(Suppression{"3E 80", true}, Suppression{"3E 00", false},
                                         Suppression{"10 83", true}, Suppression{"31 81 02", true},
                                         Suppression{"2C 81 F3 00", true},
                                         Suppression{"22 F1 90", false},
                                         Suppression{"36 80", false}, Suppression{"3E", false},
                                         Suppression{"", false}));

} // namespace
} // namespace Quarlen::Uds::Tests
