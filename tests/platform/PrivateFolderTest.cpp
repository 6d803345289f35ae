#include "platform/PrivateFolder.hpp"

#include <system_error>

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Platform::Tests {
namespace {

class PrivateFolder : public testing::Test {
protected:
    Quarlen::Tests::TemporaryFolder folder;
};

TEST_F(PrivateFolder, IsANewFolderInsideItsParent) {
    const auto made = makePrivateFolder(folder.path(), "kelctl-");

    EXPECT_TRUE(std::filesystem::is_directory(made));
    EXPECT_EQ(made.parent_path(), folder.path());
    EXPECT_EQ(made.filename().string().rfind("kelctl-", 0), 0U);
    EXPECT_GT(made.filename().string().size(), std::string("kelctl-").size());
}

TEST_F(PrivateFolder, IsAnotherOneEachTime) {
    EXPECT_NE(makePrivateFolder(folder.path(), "a-"), makePrivateFolder(folder.path(), "a-"));
}

TEST_F(PrivateFolder, TellsWhyItCannotBeMade) {
    EXPECT_THROW((void)makePrivateFolder(folder.inside("missing"), "a-"), std::system_error);
}

} // namespace
} // namespace Quarlen::Platform::Tests
