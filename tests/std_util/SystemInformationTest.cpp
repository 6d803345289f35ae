#include "std_util/SystemInformation.hpp"

#include <filesystem>

#include <gtest/gtest.h>

#include "platform/SystemPaths.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace StdUtil::Tests {

namespace {

TEST(SystemInformation, InstallationIsTheFolderOfTheExecutable) {
    const PathString installation = SystemInformation::getInstallationPath();
    EXPECT_EQ(installation.path(), Quarlen::Platform::executablePath().parent_path());
    EXPECT_TRUE(installation.path().is_absolute());
}

TEST(SystemInformation, InstallationEndsWithoutASeparator) {
    const std::wstring text = SystemInformation::getInstallationPath().wstr();
    EXPECT_FALSE(text.ends_with(L'/') || text.ends_with(L'\\'));
}

/// One case: two that make and remove the same folder could run at the same time.
TEST(SystemInformation, ConfigurationIsBesideTheExecutableOnlyWhereThatFolderExists) {
    const std::filesystem::path config = SystemInformation::getInstallationPath().path() / "config";
    std::filesystem::remove(config);
    EXPECT_EQ(SystemInformation::getConfigPath().path(), Quarlen::Platform::systemConfigFolder());

    std::filesystem::create_directory(config);
    EXPECT_EQ(SystemInformation::getConfigPath().path(), config);
    std::filesystem::remove(config);
}

/// The working folder holds a folder "config" while the test runs.
class WorkingFolderWithConfig : public testing::Test {
protected:
    void SetUp() override {
        std::filesystem::create_directory(folder.path() / "config");
        std::filesystem::current_path(folder.path());
    }
    void TearDown() override { std::filesystem::current_path(former); }

    Quarlen::Tests::TemporaryFolder folder;
    const std::filesystem::path former = std::filesystem::current_path();
};

TEST_F(WorkingFolderWithConfig, IsNotTakenForAnUnknownInstallation) {
    EXPECT_EQ(SystemInformation::configPathOf(PathString()).path(),
              Quarlen::Platform::systemConfigFolder());
}

TEST_F(WorkingFolderWithConfig, IsTakenForAnInstallationInIt) {
    EXPECT_EQ(SystemInformation::configPathOf(PathString(folder.path())).path(),
              folder.path() / "config");
}

} // namespace

} // namespace StdUtil::Tests
