#include "tools/kelctl/dryrun/ScratchFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/TextEncoding.hpp"
#include "tests/support/NumberedCause.hpp"
#include "tools/kelctl/base/Failure.hpp"

namespace Quarlen::Ctl::Tests {

TEST(ScratchFolder, IsRemovedUnlessItIsKept) {
    std::filesystem::path gone;
    std::filesystem::path kept;
    {
        const ScratchFolder first;
        ScratchFolder second;
        gone = first.path();
        kept = second.path();
        second.keep();
        EXPECT_TRUE(std::filesystem::is_directory(first.config()));
    }
    EXPECT_FALSE(std::filesystem::exists(gone));
    EXPECT_TRUE(std::filesystem::exists(kept));
    std::filesystem::remove_all(kept);
}

TEST(ScratchFolder, LiesWithTheTemporaryFiles) {
    const ScratchFolder scratch;
    EXPECT_EQ(scratch.path().parent_path() / "", std::filesystem::temp_directory_path() / "");
}

TEST(SettingsOfADryRun, ReadTheUsersFoldersAndWriteIntoTheScratchFolder) {
    const ScratchFolder scratch;
    Kel_cpp::RuntimeSettings settings;
    const auto users = std::filesystem::absolute("a & <b>");
    settings.paths.projectsPath = Platform::fromPath(users / "projects");
    settings.dataFolder = users / "data";
    settings.serverConfiguration.startSequence = L"Start.xml";
    settings.tokenFile = users / "tokens";
    writeDryRunSettings(scratch, settings);
    const Kel_cpp::RuntimeSettings read = Kel_cpp::SettingsFile(scratch.config()).read();
    EXPECT_EQ(read.paths.projectsPath, settings.paths.projectsPath);
    EXPECT_EQ(read.dataFolder, settings.dataFolder);
    EXPECT_EQ(Platform::toPath(read.paths.reportsPath), scratch.reports());
    EXPECT_EQ(Platform::toPath(read.paths.tracesPath).parent_path(), scratch.path());
    EXPECT_TRUE(read.paths.tracing);
    EXPECT_EQ(read.serverConfiguration.startSequence, L"");
    EXPECT_TRUE(read.serverConfiguration.serverAddresses.empty());
    EXPECT_TRUE(read.tokenFile.empty());
    ASSERT_EQ(read.interfaces.groups.size(), 1U);
    ASSERT_EQ(read.interfaces.groups[0]->interfaces.size(), 1U);
    EXPECT_EQ(read.interfaces.groups[0]->interfaces[0]->name, L"Simulation");
    EXPECT_TRUE(read.interfaces.groups[0]->interfaces[0]->enabled);
}

TEST(SettingsOfADryRun, ThatCannotBeWrittenAreToldWithTheCause) {
    const ScratchFolder scratch;
    std::filesystem::remove(scratch.config());
    try {
        writeDryRunSettings(scratch, {});
        FAIL() << "no exception";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.code(), ExitCode::Refused);
        EXPECT_THAT(std::string(failure.what()),
                    testing::AllOf(testing::StartsWith("cannot write into "),
                                   Quarlen::Tests::EndsWithANumber()));
    }
}

} // namespace Quarlen::Ctl::Tests
