#include "kel_server_lib/devices/StatusLed.hpp"

#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.hpp"
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

} // namespace Quarlen::Tests
