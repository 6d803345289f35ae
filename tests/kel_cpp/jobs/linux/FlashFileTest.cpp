#include "kel_cpp/jobs/FlashFile.hpp"

#include <filesystem>
#include <string>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "platform/SystemError.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/linux/OrdinaryUser.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

std::wstring refusalOf(const std::filesystem::path& folder, const std::wstring& name) {
    try {
        readFlashFile(folder, name);
    } catch (const FlashError& error) {
        return error.message();
    }
    return {};
}

} // namespace

TEST(FlashFileOnLinux, MustNotBeAPipeWhichWouldBeWaitedForForEver) {
    const Quarlen::Tests::TemporaryFolder folder;
    ASSERT_EQ(::mkfifo((folder.path() / "pipe").c_str(), S_IRUSR | S_IWUSR), 0);
    EXPECT_EQ(refusalOf(folder.path(), L"pipe"), L"this is no regular file");
}

TEST(FlashFileOnLinux, IsReadToItsEndWhereItAnnouncesNoSize) {
    const Uds::Bytes content = readFlashFile("/proc/self", L"status");
    EXPECT_EQ(std::string(content.begin(), content.begin() + 5), "Name:");
    EXPECT_EQ(content.back(), '\n');
}

TEST(FlashFileOnLinux, ThatCannotBeReadIsRefusedWithTheCause) {
    // The first byte of the memory is nobody's.
    EXPECT_EQ(refusalOf("/proc/self", L"mem"),
              L"the file cannot be read: " +
                  Platform::errorText(std::make_error_code(std::errc::io_error)));
}

TEST(FlashFileOnLinux, InAFolderThatMayNotBeEnteredIsNotSaidToBeMissing) {
    const Quarlen::Tests::TemporaryFolder folder;
    folder.write("locked/a.bin", "content");
    std::filesystem::permissions(folder.path() / "locked", std::filesystem::perms::none);
    {
        const Quarlen::Tests::OrdinaryUser user;
        EXPECT_EQ(refusalOf(folder.path() / "locked", L"a.bin"),
                  L"the file cannot be read: " +
                      Platform::errorText(std::make_error_code(std::errc::permission_denied)));
    }
    std::filesystem::permissions(folder.path() / "locked", std::filesystem::perms::owner_all);
}

} // namespace Quarlen::Kel_cpp::Tests
