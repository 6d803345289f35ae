#include "uds/Matching.hpp"

#include <gtest/gtest.h>

#include "tests/support/HexBytes.hpp"

namespace Quarlen::Uds::Tests {
namespace {

using Quarlen::Tests::hex;

struct Pair {
    const char* request;
    const char* response;
};

class ResponseThatFits : public testing::TestWithParam<Pair> {};
class ResponseThatDoesNotFit : public testing::TestWithParam<Pair> {};

TEST_P(ResponseThatFits, Matches) {
    EXPECT_TRUE(matches(hex(GetParam().request), hex(GetParam().response)))
        << GetParam().request << " - " << GetParam().response;
}

TEST_P(ResponseThatDoesNotFit, DoesNotMatch) {
    EXPECT_FALSE(matches(hex(GetParam().request), hex(GetParam().response)))
        << GetParam().request << " - " << GetParam().response;
}

INSTANTIATE_TEST_SUITE_P(
    All, ResponseThatFits,
    testing::Values(Pair{"10 02", "50 02 00 32 01 F4"}, Pair{"10 82", "50 02"},
                    Pair{"10 02", "7F 10 22"}, Pair{"11 01", "51 01"}, Pair{"14 FF FF FF", "54"},
                    Pair{"19 02 FF", "59 02 FF"}, Pair{"19 04 01 02 03 FF", "59 04 01 02 03 2F 01"},
                    Pair{"19 06 01 02 03 FF", "59 06 01 02 03 2F"}, Pair{"19 06 01", "59 06"},
                    Pair{"19 0A", "59 0A FF"}, Pair{"24 F1 90", "64 F1 90 11"},
                    Pair{"2C 81 F3 00", "6C 01 F3 00"}, Pair{"38 01 00 01 41", "78 01 02"},
                    Pair{"22 F1 90", "62 F1 90"}, Pair{"22 F1 90", "62 F1 90 41"},
                    Pair{"22 F1 90 F1 95", "62 F1 95 41"}, Pair{"22", "62 F1 90"},
                    Pair{"23 11 00 01", "63 42"}, Pair{"27 01", "67 01 12 34"},
                    Pair{"28 03 01", "68 03"}, Pair{"2E F1 5A 01", "6E F1 5A"},
                    Pair{"2F 01 02 03", "6F 01 02 03"}, Pair{"31 01 FF 00", "71 01 FF 00 00"},
                    Pair{"31 01", "71 01"}, Pair{"34 00 11 00 01", "74 20 10 00"},
                    Pair{"36 05 01 02", "76 05"}, Pair{"37", "77"}, Pair{"3E 80", "7E 00"},
                    Pair{"3E", "7E"}, Pair{"85 02", "C5 02"}, Pair{"36 05 01", "7F 36 78"}));

INSTANTIATE_TEST_SUITE_P(
    All, ResponseThatDoesNotFit,
    testing::Values(Pair{"10 02", "50 01"}, Pair{"10 02", "50"}, Pair{"10 02", "7F 11 22"},
                    Pair{"10 02", "7F 10"}, Pair{"10 02", "51 02"}, Pair{"10 02", ""},
                    Pair{"10 02", "10 02"}, Pair{"11 01", "51 02"}, Pair{"19 02 FF", "59 01 FF"},
                    Pair{"19 04 01 02 03 FF", "59 04 01 02 04 2F"},
                    Pair{"19 06 01 02 03 FF", "59 06 01 02 04 2F"},
                    Pair{"19 06 01 02 03 FF", "59 06 01 02"},
                    Pair{"19 06 01 02 03 FF", "59 04 01 02 03 2F"}, Pair{"24 F1 90", "64 F1 91"},
                    Pair{"2C 01 F3 00", "6C 02 F3 00"}, Pair{"38 01 00 01 41", "78 02"},
                    Pair{"22 F1 90", "62 F1 91"}, Pair{"22 F1 90", "62 F1"},
                    Pair{"22 F1 90 F1 95", "62 F1 96 41"}, Pair{"22 F1 90 F1 95", "62 90 F1"},
                    Pair{"27 02 11", "67 01"}, Pair{"28 03 01", "68 01"},
                    Pair{"2E F1 5A 01", "6E F1 5B"}, Pair{"2E F1 5A 01", "6E F1"},
                    Pair{"2F 01 02 03", "6F 01 03"}, Pair{"31 01 FF 00", "71 01 FF 01"},
                    Pair{"31 01 FF 00", "71 03 FF 00"}, Pair{"31 01 FF 00", "71 01 FF"},
                    Pair{"36 05 01 02", "76 06"}, Pair{"36 05 01 02", "76"}, Pair{"3E 00", "7E 01"},
                    Pair{"85 02", "C5 01"}));

TEST(Matching, KnowsTheServiceOfAPositiveResponse) {
    EXPECT_TRUE(isOfService(hex("10 02"), hex("50 01")));
    EXPECT_FALSE(isOfService(hex("10 02"), hex("7F 10 22")));
    EXPECT_FALSE(isOfService(hex("10 02"), hex("")));
}

} // namespace
} // namespace Quarlen::Uds::Tests
