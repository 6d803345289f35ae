#include "platform/windows/FinalPath.hpp"

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Platform::Tests {

namespace {

/// A system on which the program was started from a mapped drive.
ModuleQuestions mappedDrive(bool behindALink, const std::wstring& resolved) {
    return {.leadsThroughLink = [=](const std::filesystem::path&) { return behindALink; },
            .finalPath = [=](const std::filesystem::path&) { return resolved; }};
}

TEST(ProgramPath, IsTheOneByWhichTheProgramWasStarted) {
    EXPECT_EQ(programPath(L"K:\\bin\\kel_server.exe",
                          mappedDrive(false, L"\\\\srv\\kel\\bin\\kel_server.exe")),
              L"K:\\bin\\kel_server.exe");
}

TEST(ProgramPath, IsWhereALinkLeads) {
    EXPECT_EQ(programPath(L"K:\\bin\\kel_server.exe", mappedDrive(true, L"D:\\kel_server.exe")),
              L"D:\\kel_server.exe");
}

TEST(ProgramPath, IsTheLinkWhereTheSystemDoesNotTellMore) {
    EXPECT_EQ(programPath(L"K:\\bin\\kel_server.exe", mappedDrive(true, L"")),
              L"K:\\bin\\kel_server.exe");
}

TEST(ProgramPath, HasTheSpellingThatPeopleUse) {
    EXPECT_EQ(
        programPath(L"\\\\?\\UNC\\srv\\kel\\kel_server.exe", mappedDrive(false, L"")).native(),
        L"\\\\srv\\kel\\kel_server.exe");
}

TEST(FinalPath, IsEmptyForWhatIsMissing) {
    const Quarlen::Tests::TemporaryFolder folder;
    EXPECT_EQ(finalPath(folder.path() / "none"), L"");
}

TEST(FinalPath, HasTheSpellingThatPeopleUse) {
    const Quarlen::Tests::TemporaryFolder folder;
    EXPECT_FALSE(finalPath(folder.path()).starts_with(L"\\\\?\\"));
    EXPECT_TRUE(std::filesystem::equivalent(finalPath(folder.path()), folder.path()));
}

TEST(LeadsThroughLink, IsFalseForPlainFoldersAndWhatIsMissing) {
    const Quarlen::Tests::TemporaryFolder folder;
    EXPECT_FALSE(leadsThroughLink(folder.path() / "none"));
}

} // namespace

} // namespace Quarlen::Platform::Tests
