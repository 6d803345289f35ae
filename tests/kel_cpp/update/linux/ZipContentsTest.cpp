#include "kel_cpp/update/ZipContents.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/kel_cpp/update/ZipFiles.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/linux/OrdinaryUser.hpp"

namespace Quarlen::Kel_cpp::Tests {

TEST(ZipContentsOnLinux, TellTheSystemsCauseWithItsNumber) {
    const Quarlen::Tests::TemporaryFolder folder;
    const auto file = writeZip(folder.path() / "a.zip", {"a"});
    std::filesystem::permissions(file, std::filesystem::perms::none);
    const Quarlen::Tests::OrdinaryUser user;

    EXPECT_THAT(messageOf([&] { zipEntryNames(file, L"a.zip"); }),
                testing::EndsWith(L": Permission denied (13)"));
}

} // namespace Quarlen::Kel_cpp::Tests
