#include "kel_server_lib/devices/StatusLed.hpp"

#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.hpp"

namespace Quarlen::Tests {

class SetLed : public testing::Test {
protected:
    SetLed() {
        for (const char* const colour : {"red", "green", "blue"}) {
            folder.write(std::string("2.") + colour + "/brightness", "7");
        }
    }

    [[nodiscard]] std::string prefix() const { return (folder.path() / "2.").string(); }
    [[nodiscard]] std::string shown() const {
        return folder.read("2.red/brightness") + ' ' + folder.read("2.green/brightness") + ' ' +
               folder.read("2.blue/brightness");
    }

    TemporaryFolder folder;
};

TEST_F(SetLed, WritesTheDecimalDigitsWithoutLineEnd) {
    setLed(prefix(), {255, 80, 0});

    EXPECT_EQ(shown(), "255 80 0");
}

TEST_F(SetLed, LeavesNothingOfALongerNumber) {
    setLed(prefix(), {255, 255, 255});
    setLed(prefix(), {0, 80, 0});

    EXPECT_EQ(shown(), "0 80 0");
}

TEST_F(SetLed, WritesNothingWhenOneFileIsMissing) {
    std::filesystem::remove(folder.path() / "2.blue/brightness");

    setLed(prefix(), {1, 2, 3});

    EXPECT_EQ(shown(), "7 7 ");
}

TEST_F(SetLed, CreatesNoFile) {
    const std::filesystem::path blue = folder.path() / "2.blue/brightness";
    std::filesystem::remove(blue);

    setLed(prefix(), {1, 2, 3});

    EXPECT_FALSE(std::filesystem::exists(blue));
}

TEST_F(SetLed, IsSilentWithoutAnyDevice) {
    setLed((folder.path() / "nowhere/2.").string(), {1, 2, 3});

    EXPECT_EQ(shown(), "7 7 7");
}

} // namespace Quarlen::Tests
