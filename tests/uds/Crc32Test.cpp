#include "uds/Crc32.hpp"

#include <string_view>

#include <gtest/gtest.h>

#include "uds/Uds.hpp"

namespace Quarlen::Uds::Tests {
namespace {

std::uint32_t crcOf(std::string_view text) {
    const Bytes bytes(text.begin(), text.end());
    return crc32(bytes.data(), bytes.size());
}

TEST(Crc32, GivesTheStandardsCheckValue) {
    EXPECT_EQ(crcOf("123456789"), 0xCBF43926U);
}

TEST(Crc32, OfNothingIsZero) {
    EXPECT_EQ(crcOf(""), 0U);
}

TEST(Crc32, AgreesWithAKnownValueOverSeveralSlices) {
    EXPECT_EQ(crcOf("The quick brown fox jumps over the lazy dog"), 0x414FA339U);
}

TEST(Crc32, ContinuesOverPartsOfAnyLength) {
    Bytes data;
    for (int index = 0; index < 100; ++index) {
        data.push_back(static_cast<std::uint8_t>(index * 37));
    }
    const auto whole = crc32(data.data(), data.size());
    for (std::size_t cut = 0; cut <= data.size(); ++cut) {
        const auto first = crc32(data.data(), cut);
        EXPECT_EQ(crc32(data.data() + cut, data.size() - cut, first), whole) << cut;
    }
}

} // namespace
} // namespace Quarlen::Uds::Tests
