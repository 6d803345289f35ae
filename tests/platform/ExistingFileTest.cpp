#include "platform/ExistingFile.hpp"

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Platform::Tests {

namespace {

using Quarlen::Platform::ExistingFile;

class ExistingFileTest : public testing::Test {
protected:
    Quarlen::Tests::TemporaryFolder folder;
};

TEST_F(ExistingFileTest, IsNeverCreated) {
    EXPECT_EQ(ExistingFile::open(folder.path() / "none"), nullptr);
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "none"));
}

TEST_F(ExistingFileTest, IsNoFolder) {
    EXPECT_EQ(ExistingFile::open(folder.path()), nullptr);
}

TEST_F(ExistingFileTest, KeepsItsContentWhileItIsOnlyOpen) {
    const auto path = folder.write("a", "123");
    EXPECT_NE(ExistingFile::open(path), nullptr);
    EXPECT_EQ(folder.read("a"), "123");
}

TEST_F(ExistingFileTest, KeepsNothingOfALongerContent) {
    const auto path = folder.write("a", "123");
    EXPECT_TRUE(ExistingFile::open(path)->replaceContent("4"));
    EXPECT_EQ(folder.read("a"), "4");
}

} // namespace

} // namespace Quarlen::Platform::Tests
