#include "std_util/SystemInformation.hpp"

#include <filesystem>

#include <gtest/gtest.h>

#include "platform/SystemPaths.hpp"
#include "tests/support/TemporaryFolder.hpp"

using namespace StdUtil;

namespace {

/// The folder "config" beside the running test program.
class SystemInformationTest : public testing::Test {
protected:
    void SetUp() override { std::filesystem::remove_all(config); }
    void TearDown() override { std::filesystem::remove_all(config); }

    const std::filesystem::path config = SystemInformation::getInstallationPath().path() / "config";
};

TEST_F(SystemInformationTest, InstallationIsTheFolderOfTheExecutable) {
    const PathString installation = SystemInformation::getInstallationPath();
    EXPECT_EQ(installation.path(), Quarlen::Platform::executablePath().parent_path());
    EXPECT_TRUE(installation.path().is_absolute());
}

TEST_F(SystemInformationTest, InstallationEndsWithoutASeparator) {
    const std::wstring text = SystemInformation::getInstallationPath().wstr();
    EXPECT_FALSE(text.ends_with(L'/') || text.ends_with(L'\\'));
}

TEST_F(SystemInformationTest, ConfigurationIsBesideTheExecutableWhereThatFolderExists) {
    std::filesystem::create_directory(config);
    EXPECT_EQ(SystemInformation::getConfigPath().path(), config);
}

TEST_F(SystemInformationTest, ConfigurationIsTheFolderOfTheSystemOtherwise) {
    EXPECT_EQ(SystemInformation::getConfigPath().path(), Quarlen::Platform::systemConfigFolder());
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
