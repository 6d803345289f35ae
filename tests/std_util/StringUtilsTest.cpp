#include "std_util/StringUtils.hpp"

#include <gtest/gtest.h>

namespace StdUtil::Tests {

namespace {

struct Replacement {
    std::wstring text;
    std::wstring find;
    std::wstring replacement;
    std::wstring expected;
};

class FindAndReplace : public testing::TestWithParam<Replacement> {};

TEST_P(FindAndReplace, ReplacesEveryOccurrenceOnce) {
    std::wstring text = GetParam().text;
    StringUtils::findAndReplace(text, GetParam().find, GetParam().replacement);
    EXPECT_EQ(text, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Texts, FindAndReplace,
                         testing::Values(Replacement{L"http://$$HOST$$/$$HOST$$", L"$$HOST$$",
                                                     L"kel", L"http://kel/kel"},
                                         Replacement{L"abc", L"x", L"y", L"abc"},
                                         Replacement{L"abc", L"", L"y", L"abc"},
                                         Replacement{L"aaa", L"a", L"aa", L"aaaaaa"},
                                         Replacement{L"aaaaa", L"aa", L"b", L"bba"},
                                         Replacement{L"abab", L"ab", L"", L""},
                                         Replacement{L"", L"a", L"b", L""}));

TEST(FindAndReplace, WorksWithPartsOfTheTextItself) {
    std::wstring text = L"ab-ab";
    const std::wstring_view whole = text;
    StringUtils::findAndReplace(text, whole.substr(0, 1), whole.substr(1, 2));
    EXPECT_EQ(text, L"b-b-b-b");
}

TEST(FindAndReplace, ReplacesVeryManyOccurrences) {
    std::wstring text(200'000, L'a');
    StringUtils::findAndReplace(text, L"a", L"bc");
    EXPECT_EQ(text.size(), 400'000U);
    EXPECT_TRUE(text.ends_with(L"bcbc"));
}

TEST(EndsWith, LooksAtTheEndOfAText) {
    EXPECT_TRUE(StringUtils::endsWith(L"10.0.0.5:58005", L":58005"));
    EXPECT_FALSE(StringUtils::endsWith(L"10.0.0.5:58005", L":5800"));
    EXPECT_FALSE(StringUtils::endsWith(L"5", L":5"));
    EXPECT_TRUE(StringUtils::endsWith(L"5", L""));
}

TEST(EndsWith, IsTrueForAListInWhichOneTextEndsSo) {
    const std::vector<std::wstring> addresses{L"10.0.0.5:58005", L"10.0.0.6:58000"};
    EXPECT_TRUE(StringUtils::endsWith(addresses, L":58000"));
    EXPECT_TRUE(StringUtils::endsWith(addresses, L":58005"));
    EXPECT_FALSE(StringUtils::endsWith(addresses, L":58001"));
}

TEST(EndsWith, IsFalseForAnEmptyList) {
    EXPECT_FALSE(StringUtils::endsWith(std::vector<std::wstring>(), L""));
}

} // namespace

} // namespace StdUtil::Tests
