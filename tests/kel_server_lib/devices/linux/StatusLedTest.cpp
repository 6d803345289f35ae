#include "kel_server_lib/devices/StatusLed.hpp"

#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TraceCapture.hpp"
#include "tests/support/linux/OrdinaryUser.hpp"

namespace Quarlen::Tests {

TEST(SetLedOnLinux, NeedsNoRightToReadTheFiles) {
    using std::filesystem::perms;
    const TemporaryFolder folder;
    for (const char* const colour : {"red", "green", "blue"}) {
        std::filesystem::permissions(folder.write(std::string("2.") + colour + "/brightness", "7"),
                                     perms::owner_write | perms::group_write | perms::others_write);
    }
    {
        const OrdinaryUser user;
        setLed((folder.path() / "2.").string(), {255, 80, 0});
    }
    for (const char* const colour : {"red", "green", "blue"}) {
        std::filesystem::permissions(folder.path() / (std::string("2.") + colour) / "brightness",
                                     perms::owner_read);
    }

    EXPECT_EQ(folder.read("2.red/brightness"), "255");
    EXPECT_EQ(folder.read("2.green/brightness"), "80");
    EXPECT_EQ(folder.read("2.blue/brightness"), "0");
}

TEST(SetLedOnLinux, TracesAFileThatTakesNothingOnceAndWritesTheOthers) {
    const TemporaryFolder folder;
    const TraceCapture traces;
    folder.write("2.red/brightness", "7");
    folder.write("2.blue/brightness", "7");
    std::filesystem::create_directory(folder.path() / "2.green");
    std::filesystem::create_symlink("/dev/full", folder.path() / "2.green" / "brightness");

    setLed((folder.path() / "2.").string(), {255, 80, 0});
    setLed((folder.path() / "2.").string(), {255, 80, 0});

    EXPECT_EQ(folder.read("2.red/brightness"), "255");
    EXPECT_EQ(folder.read("2.blue/brightness"), "0");
    ASSERT_EQ(traces.lines().size(), 1U);
    EXPECT_NE(traces.lines()[0].text.find(L"2.green/brightness cannot be written"),
              std::wstring::npos);
}

} // namespace Quarlen::Tests
