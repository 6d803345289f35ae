#include "platform/Paths.hpp"

#include <string>

#include <gtest/gtest.h>

#include "platform/TextEncoding.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Platform::Tests {

namespace {

struct PathsCase {
    std::wstring path;
    std::wstring absolute;
};

void PrintTo(const PathsCase& value, std::ostream* output) {
    *output << toUtf8(value.path);
}

class AbsolutePaths : public testing::TestWithParam<PathsCase> {};

TEST_P(AbsolutePaths, KeepTheirDriveOrShare) {
    EXPECT_EQ(toUtf8(absolutePath(GetParam().path).native()), toUtf8(GetParam().absolute));
    EXPECT_TRUE(isAbsolutePath(GetParam().path));
    EXPECT_EQ(toUtf8(normalPath(GetParam().path).native()), toUtf8(GetParam().absolute));
    EXPECT_EQ(joinedPath(L"C:\\else\\where", GetParam().path), GetParam().path);
}

INSTANTIATE_TEST_SUITE_P(
    All, AbsolutePaths,
    testing::Values(PathsCase{L"C:\\kel\\.\\config\\..\\x", L"C:\\kel\\x"},
                    PathsCase{L"\\\\srv\\kel\\config\\projects", L"\\\\srv\\kel\\config\\projects"},
                    PathsCase{L"\\\\srv\\kel\\config\\..\\x", L"\\\\srv\\kel\\x"},
                    PathsCase{L"\\\\srv\\kel\\..\\x", L"\\\\srv\\kel\\x"},
                    PathsCase{L"\\\\?\\C:\\kel\\x", L"C:\\kel\\x"},
                    PathsCase{L"\\\\?\\UNC\\srv\\kel\\x", L"\\\\srv\\kel\\x"}));

TEST(Paths, CountFromTheCurrentFolder) {
    std::error_code failure;
    EXPECT_EQ(absolutePath(L"kel\\x", failure), std::filesystem::current_path() / L"kel\\x");
    EXPECT_FALSE(failure);
    EXPECT_FALSE(isAbsolutePath(L"kel\\x"));
}

TEST(Paths, AreNotMadeOfNothing) {
    std::error_code failure;
    EXPECT_TRUE(absolutePath(std::filesystem::path(), failure).empty());
    EXPECT_TRUE(failure);
    EXPECT_THROW(absolutePath(std::filesystem::path()), std::system_error);
}

TEST(Paths, AreResolvedAsFarAsTheyExist) {
    const Quarlen::Tests::TemporaryFolder folder;
    const std::filesystem::path whole = resolvedPath(folder.path());

    EXPECT_TRUE(std::filesystem::equivalent(whole, folder.path()));
    EXPECT_EQ(resolvedPath(folder.path() / "." / "a" / ".." / "b" / "c.zip"),
              whole / "b" / "c.zip");
}

TEST(Paths, CanBeOpenedAtEveryLength) {
    const std::wstring name(300, L'n');
    EXPECT_EQ(openablePath(L"C:\\kel\\" + name).native(), L"\\\\?\\C:\\kel\\" + name);
    EXPECT_EQ(openablePath(L"C:\\kel").native(), L"C:\\kel");
}

} // namespace

} // namespace Quarlen::Platform::Tests
