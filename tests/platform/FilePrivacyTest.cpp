#include "platform/FilePrivacy.hpp"

#include <gtest/gtest.h>

#include "tests/support/FileAccess.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Platform::Tests {
namespace {

class FilePrivacy : public testing::Test {
protected:
    Quarlen::Tests::TemporaryFolder folder;
    std::filesystem::path file = folder.write("secret", "x");
};

TEST_F(FilePrivacy, IsGivenWhereOnlyTheOwnerMayRead) {
    Quarlen::Tests::makePrivate(file);

    EXPECT_TRUE(isPrivate(file));
}

TEST_F(FilePrivacy, IsNotGivenWhereAllMayRead) {
    Quarlen::Tests::makeReadableByAll(file);

    EXPECT_FALSE(isPrivate(file));
}

TEST_F(FilePrivacy, IsNotGivenForAFileThatIsMissing) {
    EXPECT_FALSE(isPrivate(folder.inside("missing")));
}

} // namespace
} // namespace Quarlen::Platform::Tests
