#include "platform/PrivateFolder.hpp"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Platform::Tests {
namespace {

/// Of the process, for a while.
class FileMask {
public:
    explicit FileMask(mode_t mask) : previous(::umask(mask)) {}
    FileMask(const FileMask&) = delete;
    FileMask& operator=(const FileMask&) = delete;
    ~FileMask() { ::umask(previous); }

private:
    mode_t previous;
};

TEST(PrivateFolderOfLinux, LetsInNobodyButItsOwner) {
    const Quarlen::Tests::TemporaryFolder folder;
    const FileMask allowsAll(0);

    const auto made = makePrivateFolder(folder.path(), "a-");

    EXPECT_EQ(std::filesystem::status(made).permissions(), std::filesystem::perms::owner_all);
}

} // namespace
} // namespace Quarlen::Platform::Tests
