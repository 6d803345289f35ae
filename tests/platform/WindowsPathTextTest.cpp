#include "platform/WindowsPathText.hpp"

#include <string>

#include <gtest/gtest.h>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Platform::Tests {

namespace {

struct Rewriting {
    std::wstring path;
    std::wstring expected;
};

struct Joining {
    std::wstring folder;
    std::wstring name;
    std::wstring expected;
};

void PrintTo(const Rewriting& rewriting, std::ostream* output) {
    *output << toUtf8(rewriting.path);
}

void PrintTo(const Joining& joining, std::ostream* output) {
    *output << toUtf8(joining.folder) << " and " << toUtf8(joining.name);
}

class NormalWindowsPaths : public testing::TestWithParam<Rewriting> {};

TEST_P(NormalWindowsPaths, KeepWhatBeginsThem) {
    EXPECT_EQ(toUtf8(normalWindowsPath(GetParam().path)), toUtf8(GetParam().expected));
}

TEST_P(NormalWindowsPaths, AreNormalAlready) {
    EXPECT_EQ(toUtf8(normalWindowsPath(GetParam().expected)), toUtf8(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    Drives, NormalWindowsPaths,
    testing::Values(Rewriting{L"C:\\kel\\.\\config\\..\\projects", L"C:\\kel\\projects"},
                    Rewriting{L"C:/kel//projects/", L"C:\\kel\\projects\\"},
                    Rewriting{L"C:\\kel\\projects\\..", L"C:\\kel\\"},
                    Rewriting{L"C:\\..\\..\\kel", L"C:\\kel"}, Rewriting{L"C:\\", L"C:\\"},
                    Rewriting{L"C:", L"C:"}, Rewriting{L"C:..\\kel", L"C:..\\kel"},
                    Rewriting{L"\\\\?\\C:\\kel\\.\\x", L"C:\\kel\\x"}));
INSTANTIATE_TEST_SUITE_P(
    Shares, NormalWindowsPaths,
    testing::Values(Rewriting{L"\\\\srv\\kel\\config\\projects", L"\\\\srv\\kel\\config\\projects"},
                    Rewriting{L"//srv/kel/config/../projects", L"\\\\srv\\kel\\projects"},
                    Rewriting{L"\\\\srv\\kel\\..\\..\\projects", L"\\\\srv\\kel\\projects"},
                    Rewriting{L"\\\\srv\\kel", L"\\\\srv\\kel"},
                    Rewriting{L"\\\\srv\\kel\\", L"\\\\srv\\kel\\"},
                    Rewriting{L"\\\\?\\UNC\\srv\\kel\\.\\x", L"\\\\srv\\kel\\x"},
                    Rewriting{L"\\\\?\\unc\\srv\\kel\\x\\..", L"\\\\srv\\kel\\"}));
INSTANTIATE_TEST_SUITE_P(Devices, NormalWindowsPaths,
                         testing::Values(Rewriting{L"\\\\.\\C:\\kel\\..\\x", L"\\\\.\\C:\\x"},
                                         Rewriting{L"\\\\?\\Volume{1}\\kel\\..\\x",
                                                   L"\\\\?\\Volume{1}\\kel\\..\\x"}));
INSTANTIATE_TEST_SUITE_P(
    Relative, NormalWindowsPaths,
    testing::Values(Rewriting{L"", L""}, Rewriting{L".", L"."}, Rewriting{L"a/..", L"."},
                    Rewriting{L"..\\..\\a\\.", L"..\\..\\a\\"}, Rewriting{L"..\\", L".."},
                    Rewriting{L"\\kel\\..\\..\\x", L"\\x"}, Rewriting{L"\\", L"\\"},
                    Rewriting{L"\\\\\\kel", L"\\kel"}));

class JoinedWindowsPaths : public testing::TestWithParam<Joining> {};

TEST_P(JoinedWindowsPaths, AreOfTheFolderUnlessTheNameIsAbsolute) {
    const Joining& joining = GetParam();
    EXPECT_EQ(toUtf8(joinedWindowsPath(joining.folder, joining.name)), toUtf8(joining.expected));
}

INSTANTIATE_TEST_SUITE_P(Names, JoinedWindowsPaths,
                         testing::Values(Joining{L"\\\\srv\\kel", L"x/y", L"\\\\srv\\kel\\x\\y"},
                                         Joining{L"C:\\kel\\", L"x", L"C:\\kel\\x"},
                                         Joining{L"C:", L"x", L"C:x"}, Joining{L"", L"x", L"x"},
                                         Joining{L"C:\\kel", L"", L"C:\\kel"},
                                         Joining{L"\\\\?\\C:\\kel", L"..", L"\\\\?\\C:\\kel\\.."}));
INSTANTIATE_TEST_SUITE_P(
    AbsoluteNames, JoinedWindowsPaths,
    testing::Values(Joining{L"C:\\kel", L"\\\\srv\\kel\\projects", L"\\\\srv\\kel\\projects"},
                    Joining{L"C:\\kel", L"//srv/kel/projects", L"\\\\srv\\kel\\projects"},
                    Joining{L"C:\\kel", L"\\\\?\\UNC\\srv\\kel\\x", L"\\\\?\\UNC\\srv\\kel\\x"},
                    Joining{L"\\\\srv\\kel", L"D:\\projects", L"D:\\projects"}));
INSTANTIATE_TEST_SUITE_P(NamesOfADrive, JoinedWindowsPaths,
                         testing::Values(Joining{L"\\\\srv\\kel\\config", L"\\x",
                                                 L"\\\\srv\\kel\\x"},
                                         Joining{L"C:\\kel", L"/x", L"C:\\x"},
                                         Joining{L"C:\\kel", L"c:x", L"C:\\kel\\x"},
                                         Joining{L"C:\\kel", L"D:x", L"D:x"}));

class ExtendedWindowsPaths : public testing::TestWithParam<Rewriting> {};

TEST_P(ExtendedWindowsPaths, AreWhatTheSystemTakesAtEveryLength) {
    EXPECT_EQ(toUtf8(extendedWindowsPath(GetParam().path)), toUtf8(GetParam().expected));
}

TEST_P(ExtendedWindowsPaths, AreLeftAlone) {
    EXPECT_EQ(toUtf8(extendedWindowsPath(GetParam().expected)), toUtf8(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(All, ExtendedWindowsPaths,
                         testing::Values(Rewriting{L"C:\\kel", L"\\\\?\\C:\\kel"},
                                         Rewriting{L"\\\\srv\\kel\\x", L"\\\\?\\UNC\\srv\\kel\\x"},
                                         Rewriting{L"\\\\.\\NUL", L"\\\\.\\NUL"},
                                         Rewriting{L"kel", L"kel"}, Rewriting{L"\\kel", L"\\kel"},
                                         Rewriting{L"C:kel", L"C:kel"}));

TEST(PlainWindowsPaths, AreTheReverseOfTheExtendedOnes) {
    for (const wchar_t* const path : {L"C:\\kel", L"\\\\srv\\kel\\x"}) {
        EXPECT_EQ(plainWindowsPath(extendedWindowsPath(path)), path);
    }
    EXPECT_EQ(plainWindowsPath(L"\\\\?\\Volume{1}\\x"), L"\\\\?\\Volume{1}\\x");
    EXPECT_EQ(plainWindowsPath(L"kel"), L"kel");
}

TEST(AbsoluteWindowsPaths, NeedNeitherACurrentFolderNorACurrentDrive) {
    for (const wchar_t* const path :
         {L"C:\\", L"c:/kel", L"\\\\srv\\kel", L"//srv/kel/x", L"\\\\?\\C:\\x", L"\\\\.\\NUL"}) {
        EXPECT_TRUE(isAbsoluteWindowsPath(path)) << toUtf8(path);
    }
    for (const wchar_t* const path : {L"", L"kel", L"C:", L"C:kel", L"\\kel", L"/kel", L"..\\x"}) {
        EXPECT_FALSE(isAbsoluteWindowsPath(path)) << toUtf8(path);
    }
}

} // namespace

} // namespace Quarlen::Platform::Tests
