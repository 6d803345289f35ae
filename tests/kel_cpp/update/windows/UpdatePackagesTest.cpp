#include "kel_cpp/update/UpdatePackages.hpp"

#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/FileFacts.hpp"
#include "platform/Paths.hpp"
#include "platform/TextEncoding.hpp"
#include "tests/kel_cpp/update/ZipFiles.hpp"
#include "tests/support/FakeClock.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

namespace fs = std::filesystem;

struct HandleClose {
    void operator()(void* handle) const noexcept { ::CloseHandle(handle); }
};

/// As virus scanners do: others may read the file, but neither write nor replace it.
std::unique_ptr<void, HandleClose> scan(const fs::path& file) {
    void* const opened = ::CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_NE(opened, INVALID_HANDLE_VALUE);
    return std::unique_ptr<void, HandleClose>(opened);
}

class ScannedUpdatePackages : public testing::Test {
protected:
    void stage() {
        auto info = std::make_shared<UpdatePackageInfo>();
        info->packagePath = Platform::fromPath(updates / "a.zip");
        stageUpdatePackages({info}, updates, staging, clock);
    }

    Quarlen::Tests::TemporaryFolder folder;
    fs::path updates = folder.path() / "Update";
    fs::path staging = folder.path() / "staging";
    Quarlen::Tests::FakeClock clock;
};

TEST_F(ScannedUpdatePackages, AreReplacedOnceTheScannerHasClosedThem) {
    writeZip(updates / "a.zip", {"old"});
    stage();
    writeZip(updates / "a.zip", {"new", "more"});
    auto scanned = scan(staging / "a.zip");
    clock.onSleep([&](std::chrono::milliseconds /*duration*/) {
        std::jthread([&] { scanned.reset(); }).join();
    });

    stage();

    EXPECT_THAT(clock.sleeps(), testing::SizeIs(1));
    EXPECT_EQ(folder.read("staging/a.zip"), folder.read("Update/a.zip"));
}

TEST_F(ScannedUpdatePackages, StayAsTheyAreWhileTheScannerKeepsThem) {
    writeZip(updates / "a.zip", {"old"});
    stage();
    const std::string before = folder.read("staging/a.zip");
    writeZip(updates / "a.zip", {"new", "more"});
    const auto scanned = scan(staging / "a.zip");
    clock.onSleep(
        [&](std::chrono::milliseconds /*duration*/) { clock.advance(std::chrono::minutes(1)); });

    EXPECT_NE(messageOf([&] { stage(); }), L"");

    EXPECT_EQ(folder.read("staging/a.zip"), before);
    EXPECT_EQ(std::distance(fs::directory_iterator(staging), fs::directory_iterator()), 1);
}

TEST(UpdatePackagesOnWindows, AreFoundBehindThePrefixOfExtendedPaths) {
    const Quarlen::Tests::TemporaryFolder folder;
    const auto file = writeZip(folder.write("Update/a.zip", ""), {"a.bin"});
    const auto package = std::make_shared<UpdatePackageInfo>();
    package->packagePath = L"\\\\?\\" + Platform::absolutePath(file).native();

    stageUpdatePackages({package}, folder.path() / "Update", folder.path() / "staging");

    EXPECT_TRUE(Platform::isRegularFile(folder.path() / "staging" / "a.zip"));
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
