#include "platform/FileActions.hpp"

#include <filesystem>
#include <system_error>
#include <windows.h>

#include <gmock/gmock.h>

#include "tests/support/FakeClock.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Platform::Tests {

namespace {

class CopyOnWindows : public testing::Test {
protected:
    CopyOnWindows() = default;
    CopyOnWindows(const CopyOnWindows&) = delete;
    CopyOnWindows& operator=(const CopyOnWindows&) = delete;
    /// A read-only file cannot be removed.
    ~CopyOnWindows() override {
        ::SetFileAttributesW(from.c_str(), FILE_ATTRIBUTE_NORMAL);
        ::SetFileAttributesW(to.c_str(), FILE_ATTRIBUTE_NORMAL);
    }

    Quarlen::Tests::TemporaryFolder folder;
    std::filesystem::path from = folder.write("from", "new");
    std::filesystem::path to = folder.path() / "to";
    Quarlen::Tests::FakeClock clock;
};

TEST_F(CopyOnWindows, OfAReadOnlyFileCanBeReplaced) {
    ::SetFileAttributesW(from.c_str(), FILE_ATTRIBUTE_READONLY);

    copyFile(from, to, clock);
    copyFile(from, to, clock);

    EXPECT_EQ(::GetFileAttributesW(to.c_str()) & FILE_ATTRIBUTE_READONLY, 0U);
    EXPECT_EQ(folder.read("to"), "new");
}

TEST_F(CopyOnWindows, RefusesAReadOnlyTargetAtOnce) {
    folder.write("to", "old");
    ::SetFileAttributesW(to.c_str(), FILE_ATTRIBUTE_READONLY);

    EXPECT_THROW(copyFile(from, to, clock), std::system_error);

    EXPECT_THAT(clock.sleeps(), testing::IsEmpty());
    EXPECT_EQ(folder.read("to"), "old");
}

} // namespace

} // namespace Quarlen::Platform::Tests
