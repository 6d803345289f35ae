#include "platform/FilePrivacy.hpp"

#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/FileAccess.hpp"
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

/// The program and the user who owns the file could both read it.
TEST(FilePrivacyOnLinux, IsNotGivenWhereTheFileBelongsToSomebodyElse) {
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only the superuser can give a file away";
    }
    constexpr uid_t nobody = 65534;
    const Quarlen::Tests::TemporaryFolder folder;
    const auto file = folder.write("secret", "x");
    Quarlen::Tests::makePrivate(file);
    ASSERT_TRUE(isPrivate(file));

    ASSERT_EQ(::chown(file.c_str(), nobody, nobody), 0);

    EXPECT_FALSE(isPrivate(file));
}

} // namespace
} // namespace Quarlen::Platform::Tests
