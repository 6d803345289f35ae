#include "platform/Sha256.hpp"

#include <string>

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {
namespace {

std::string hex(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const unsigned byte : sha256(bytes)) {
        text += digits[byte / 16];
        text += digits[byte % 16];
    }
    return text;
}

// The examples of FIPS 180-4 and of an empty text.
TEST(Sha256, IsThatOfTheStandard) {
    EXPECT_EQ(hex(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(hex("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
}

TEST(Sha256, TakesBytesThatAreZero) {
    EXPECT_NE(hex(std::string_view("a\0b", 3)), hex("a"));
}

TEST(Sha256, OfPiecesIsThatOfTheWhole) {
    Sha256 hash;
    for (const std::string_view piece : {"a", "", "b", "c"}) {
        hash.add(piece);
    }

    EXPECT_EQ(hash.finish(), sha256("abc"));
}

} // namespace
} // namespace Quarlen::Platform::Tests
