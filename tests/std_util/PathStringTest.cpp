#include "std_util/PathString.hpp"

#include <algorithm>
#include <filesystem>

#include <gtest/gtest.h>

namespace StdUtil::Tests {

namespace {

/// With the separator that every platform takes.
std::wstring generic(const PathString& path) {
    std::wstring text = path.wstr();
    std::replace(text.begin(), text.end(),
                 static_cast<wchar_t>(std::filesystem::path::preferred_separator), L'/');
    return text;
}

TEST(PathString, IsEmptyWithoutAText) {
    EXPECT_TRUE(PathString().empty());
    EXPECT_TRUE(PathString(static_cast<const wchar_t*>(nullptr)).empty());
}

TEST(PathString, JoinsComponentsWithTheSeparatorOfThePlatform) {
    PathString path(L"config");
    path.append(L"KelServerScripts").append(L"Demo.xml");
    std::wstring expected = L"config/KelServerScripts/Demo.xml";
    std::replace(expected.begin(), expected.end(), L'/',
                 static_cast<wchar_t>(std::filesystem::path::preferred_separator));
    EXPECT_EQ(path.wstr(), expected);
}

TEST(PathString, DoesNotDoubleASeparatorThatIsThere) {
    EXPECT_EQ(generic(PathString(L"config/").append(L"Demo.xml")), L"config/Demo.xml");
}

TEST(PathString, IsReplacedByAnAbsoluteComponent) {
    const PathString absolute(std::filesystem::temp_directory_path() / "Demo.xml");
    EXPECT_EQ(PathString(L"config").append(absolute), absolute);
}

TEST(PathString, StaysAsItIsWithAnEmptyComponent) {
    EXPECT_EQ(PathString(L"config").append(PathString()), PathString(L"config"));
}

TEST(PathString, TakesTheComponentWhenItIsEmpty) {
    EXPECT_EQ(PathString().append(L"Demo.xml"), PathString(L"Demo.xml"));
}

TEST(PathString, KeepsAComponentThatNamesTheFolderAbove) {
    EXPECT_EQ(generic(PathString(L"config").append(L"../Demo.xml")), L"config/../Demo.xml");
}

TEST(PathString, KeepsTextsOutsideAscii) {
    const std::wstring text = L"\u00FCbung-\U0001F697.xml";
    EXPECT_EQ(PathString(PathString(text).path()).wstr(), text);
    EXPECT_EQ(generic(PathString(L"a").append(text)), L"a/" + text);
}

} // namespace

} // namespace StdUtil::Tests
