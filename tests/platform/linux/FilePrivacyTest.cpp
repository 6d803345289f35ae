#include "platform/FilePrivacy.hpp"

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Platform::Tests {
namespace {

using std::filesystem::perms;

TEST(FilePrivacyOnLinux, IsLostWithAnyRightOfTheGroupOrOfOthers) {
    const Quarlen::Tests::TemporaryFolder folder;
    const auto file = folder.write("secret", "x");
    for (const perms right : {perms::group_read, perms::group_write, perms::group_exec,
                              perms::others_read, perms::others_write, perms::others_exec}) {
        std::filesystem::permissions(file, perms::owner_read | right);
        EXPECT_FALSE(isPrivate(file)) << static_cast<unsigned>(right);
    }
    std::filesystem::permissions(file, perms::owner_all);
    EXPECT_TRUE(isPrivate(file));
}

} // namespace
} // namespace Quarlen::Platform::Tests
