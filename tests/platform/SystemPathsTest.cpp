#include "platform/SystemPaths.hpp"

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

TEST(SystemPaths, NameTheRunningExecutable) {
    EXPECT_TRUE(executablePath().is_absolute());
    EXPECT_EQ(executablePath().stem(), "platform_test");
    EXPECT_TRUE(std::filesystem::is_regular_file(executablePath()));
}

TEST(SystemPaths, ResolveLinksToTheExecutable) {
    EXPECT_EQ(executablePath(), std::filesystem::canonical(executablePath()));
}

TEST(SystemPaths, KeepTheConfigurationInAFolderOfTheProgram) {
    EXPECT_TRUE(systemConfigFolder().is_absolute());
    EXPECT_EQ(systemConfigFolder().filename(), "kel_server");
}

TEST(SystemPaths, GiveTheHostName) {
    EXPECT_FALSE(hostName().empty());
    EXPECT_LT(hostName().size(), 64U);
    EXPECT_EQ(hostName().find(L'\0'), std::wstring::npos);
}

} // namespace

} // namespace Quarlen::Platform::Tests
