#include "platform/FileNames.hpp"

#include <string>

#include <gtest/gtest.h>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Platform::Tests {

namespace {

class FileName : public testing::TestWithParam<std::wstring> {};
class NoFileName : public testing::TestWithParam<std::wstring> {};

TEST_P(FileName, CouldBeAFile) {
    EXPECT_TRUE(couldNameFile(GetParam()));
}
TEST_P(NoFileName, CouldNotBeAFile) {
    EXPECT_FALSE(couldNameFile(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Paths, FileName,
                         testing::Values(L"a", L"a.xml", L"C:\\a\\b c\\d", L"C:a", L"/a/b",
                                         L"\\\\server\\share\\a", L"..\\a", L".kel", L"console",
                                         L"COM0", L"COM\u2074", L"CON$", L"\u00FCbung-\U0001F697",
                                         std::wstring(255, L'n')));
INSTANTIATE_TEST_SUITE_P(Paths, NoFileName,
                         testing::Values(L"", L"C:", L"C:\\", L"folder\\", L"folder/", L".", L"..",
                                         L"a\\..", L"a?", L"a*", L"a|b", L"ab:c", L"<a>", L"a\tb",
                                         L"a.", L"a ", L"nul", L"CON.xml", L"lpt1", L"a\\Aux\\b",
                                         L"com\u00B9", L"LPT\u00B3.txt", L"conin$", L"CONOUT$",
                                         L"NUL .txt", L"com1 .a", L"a.zip:b", L"car...",
                                         std::wstring(L"a\0b", 3), std::wstring(256, L'n')));

TEST(FileName, IsNotTakenLiterallyWhereTheSystemOpensSomethingElse) {
    for (const wchar_t* const name :
         {L"a.", L"a ", L"a. .", L"a.zip:b", L"a.zip::$DATA", L"sub.\\a", L"C:\\x\\nul.txt",
          L"nul .txt", L"LPT\u00B2", L"CONIN$", L"\\\\?\\C:\\x\\a."}) {
        EXPECT_FALSE(isTakenLiterally(name)) << toUtf8(name);
    }
    for (const wchar_t* const name :
         {L"a", L"", L".", L"..", L"..\\a.zip", L"C:\\x\\a", L"C:\\x\\", L"\\\\server\\share\\a",
          L"\\\\?\\C:\\x\\a", L"\\\\?\\UNC\\server\\share\\a"}) {
        EXPECT_TRUE(isTakenLiterally(name)) << toUtf8(name);
    }
}

TEST(FileName, IsComparedWithoutRegardToCase) {
    EXPECT_TRUE(isSameFileName(L"e.zip", L"E.ZIP"));
    EXPECT_TRUE(isSameFileName(L"\u00FCbung", L"\u00DCBUNG"));
    EXPECT_FALSE(isSameFileName(L"stra\u00DFe", L"STRASSE"));
    EXPECT_FALSE(isSameFileName(L"e.zip", L"e.zi"));
}

TEST(FileName, IsCountedWithItsWholePath) {
    std::wstring path = L"f";
    while (path.size() < 32767) {
        path.insert(0, L"folder\\");
    }
    EXPECT_FALSE(couldNameFile(path));
    EXPECT_TRUE(couldNameFile(path.substr(path.size() - 16000)));
}

} // namespace

} // namespace Quarlen::Platform::Tests
