#include "uds/SeedKey.hpp"

#include <gtest/gtest.h>

#include "tests/support/HexBytes.hpp"

namespace Quarlen::Uds::Tests {
namespace {

using Quarlen::Tests::hex;

TEST(SeedKey, XorsWithTheMaskAndRotatesLeftByOneByte) {
    EXPECT_EQ(hex(keyForSeed(hex("11 22 33 44"), 0x5A3C96E1)), "1E A5 A5 4B");
}

TEST(SeedKey, RepeatsTheMaskOverALongSeed) {
    EXPECT_EQ(hex(keyForSeed(hex("00 00 00 00 00 00"), 0x01020304)), "02 03 04 01 02 01");
}

TEST(SeedKey, UsesTheMasksFirstBytesForAShortSeed) {
    EXPECT_EQ(hex(keyForSeed(hex("00 00"), 0x01020304)), "02 01");
}

TEST(SeedKey, OfAnEmptySeedIsEmpty) {
    EXPECT_TRUE(keyForSeed({}, 0x01020304).empty());
}

} // namespace
} // namespace Quarlen::Uds::Tests
