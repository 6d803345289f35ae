#include "platform/TextEncoding.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

struct Pair {
    std::string utf8;
    std::wstring wide;
};

class TextPair : public testing::TestWithParam<Pair> {};

TEST_P(TextPair, ConvertsBothWays) {
    EXPECT_EQ(fromUtf8(GetParam().utf8), GetParam().wide);
    EXPECT_EQ(toUtf8(GetParam().wide), GetParam().utf8);
}

INSTANTIATE_TEST_SUITE_P(
    EveryLength, TextPair,
    testing::Values(Pair{"", L""}, Pair{"kel", L"kel"}, Pair{"\xC3\xBC", L"\u00FC"},
                    Pair{"\xE2\x82\xAC", L"\u20AC"}, Pair{"\xF0\x9F\x9A\x97", L"\U0001F697"},
                    Pair{"\xEF\xBF\xBF", L"\uFFFF"}, Pair{"\xED\x9F\xBF", L"\xD7FF"},
                    Pair{"\xF4\x8F\xBF\xBF", L"\U0010FFFF"},
                    Pair{std::string("a\0b", 3), std::wstring(L"a\0b", 3)}));

class MalformedUtf8 : public testing::TestWithParam<std::string> {};

TEST_P(MalformedUtf8, GivesTheEmptyText) {
    EXPECT_EQ(fromUtf8("good " + GetParam() + " good"), L"");
}

INSTANTIATE_TEST_SUITE_P(Forms, MalformedUtf8,
                         testing::Values("\x80", "\xC3", "\xE2\x82", "\xF0\x9F\x9A", "\xFF",
                                         "\xC0\xAF",                 // overlong slash
                                         "\xE0\x80\xAF",             // overlong in three bytes
                                         "\xF0\x80\x80\xAF",         // overlong in four bytes
                                         "\xED\xA0\x80",             // high surrogate
                                         "\xED\xBF\xBF",             // low surrogate
                                         "\xED\xA0\xBD\xED\xBA\x97", // a pair of them
                                         "\xF4\x90\x80\x80",         // above the last code point
                                         "\xF8\x88\x80\x80\x80"));

TEST(MalformedUtf8, AtTheEndOfTheTextGivesTheEmptyText) {
    EXPECT_EQ(fromUtf8("good\xE2\x82"), L"");
}

class MalformedWideText : public testing::TestWithParam<std::wstring> {};

TEST_P(MalformedWideText, GivesTheEmptyText) {
    EXPECT_EQ(toUtf8(L"good " + GetParam() + L" good"), "");
    EXPECT_TRUE(toPath(L"good" + GetParam()).empty());
}

INSTANTIATE_TEST_SUITE_P(LoneSurrogates, MalformedWideText,
                         testing::Values(L"\xD800", L"\xDBFF", L"\xDC00", L"\xDFFF"));

#if WCHAR_MAX > 0xFFFF
INSTANTIATE_TEST_SUITE_P(NoCodePoints, MalformedWideText,
                         testing::Values(std::wstring(1, static_cast<wchar_t>(0x110000)),
                                         std::wstring(1, static_cast<wchar_t>(0x7FFFFFFF)),
                                         std::wstring(1, static_cast<wchar_t>(-1)),
                                         L"\xD83D\xDE97"));
#endif

TEST(PathConversion, KeepsTheTextBothWays) {
    const std::wstring text = L"folder/\u00FC\U0001F697.xml";
    EXPECT_EQ(fromPath(toPath(text)), text);
}

TEST(PathConversion, RefusesANullCharacterInsteadOfNamingAnotherFile) {
    EXPECT_TRUE(toPath(std::wstring(L"script.xml\0.txt", 15)).empty());
}

} // namespace

} // namespace Quarlen::Platform::Tests
