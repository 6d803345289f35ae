#include "platform/windows/ExtendedPath.hpp"

#include <string>

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

std::wstring longName() {
    return std::wstring(120, L'n') + L"\\" + std::wstring(120, L'm');
}

TEST(ExtendedPath, LeavesWhatIsShortEnoughAlone) {
    EXPECT_EQ(extendedPath(L"kel/x"), L"kel/x");
    EXPECT_EQ(extendedPath(L"C:\\kel"), L"C:\\kel");
    EXPECT_EQ(extendedPath(L"\\\\srv\\kel\\x"), L"\\\\srv\\kel\\x");
}

TEST(ExtendedPath, IsForLongPathsOfADriveAndOfAShare) {
    EXPECT_EQ(extendedPath(L"C:\\kel/./" + longName()), L"\\\\?\\C:\\kel\\" + longName());
    EXPECT_EQ(extendedPath(L"//srv/kel/" + longName()), L"\\\\?\\UNC\\srv\\kel\\" + longName());
}

TEST(ExtendedPath, MakesALongRelativePathAbsolute) {
    const std::wstring path = extendedPath(longName());
    EXPECT_TRUE(path.starts_with(L"\\\\?\\"));
    EXPECT_TRUE(path.ends_with(L"\\" + longName()));
}

TEST(ExtendedPath, IsNoneWhereTheFoldersOnTheWayAloneAreLong) {
    EXPECT_EQ(extendedPath(L"C:\\" + std::wstring(300, L'n') + L"\\..\\x"), L"C:\\x");
}

TEST(ExtendedPath, IsTakenAsItComes) {
    EXPECT_EQ(extendedPath(L"\\\\?\\C:\\" + longName()), L"\\\\?\\C:\\" + longName());
}

TEST(FullPath, KeepsTheShare) {
    EXPECT_EQ(fullPath(L"\\\\srv\\kel\\config\\..\\projects"), L"\\\\srv\\kel\\projects");
    EXPECT_EQ(fullPath(L"\\\\?\\UNC\\srv\\kel\\x"), L"\\\\srv\\kel\\x");
    EXPECT_EQ(fullPath(L"\\\\?\\C:\\x\\.."), L"C:\\");
}

TEST(FullPath, HasRoomForEveryLength) {
    for (const std::size_t size : {255U, 256U, 257U, 258U, 300U, 3000U}) {
        const std::wstring path = L"C:\\" + std::wstring(size, L'n');
        EXPECT_EQ(fullPath(path), path);
    }
}

} // namespace

} // namespace Quarlen::Platform::Tests
