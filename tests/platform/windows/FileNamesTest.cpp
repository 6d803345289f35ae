#include "platform/FileNames.hpp"

#include <string>

#include <gtest/gtest.h>

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
                                         L"COM0", L"\u00FCbung-\U0001F697",
                                         std::wstring(255, L'n')));
INSTANTIATE_TEST_SUITE_P(Paths, NoFileName,
                         testing::Values(L"", L"C:", L"C:\\", L"folder\\", L"folder/", L".", L"..",
                                         L"a\\..", L"a?", L"a*", L"a|b", L"ab:c", L"<a>", L"a\tb",
                                         L"a.", L"a ", L"nul", L"CON.xml", L"lpt1", L"a\\Aux\\b",
                                         std::wstring(L"a\0b", 3), std::wstring(256, L'n')));

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
