#include "kel_server_lib/devices/StatusLed.hpp"

#include <algorithm>
#include <filesystem>

#include <gtest/gtest.h>

#include "platform/TextEncoding.hpp"
#include "tests/support/TemporaryFolder.hpp"
#include "tests/support/TraceCapture.hpp"

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

TEST_F(SetLed, IsSilentWithoutAnyDevice) {
    setLed((folder.path() / "nowhere/2.").string(), {1, 2, 3});

    EXPECT_EQ(shown(), "7 7 7");
}

TEST_F(SetLed, TouchesNoFileOfTheCurrentFolderWhereTheSystemHasNoLed) {
    folder.write("red/brightness", "7");
    folder.write("green/brightness", "7");
    folder.write("blue/brightness", "7");
    const std::filesystem::path former = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());

    setLed("", {1, 2, 3});

    std::filesystem::current_path(former);
    EXPECT_EQ(folder.read("red/brightness"), "7");
}

class SetLedWithoutOneFile : public SetLed, public testing::WithParamInterface<const char*> {
protected:
    [[nodiscard]] std::filesystem::path file() const {
        return folder.path() / (std::string("2.") + GetParam()) / "brightness";
    }
    /// The other two show what they did before.
    [[nodiscard]] bool othersAreAsBefore() const {
        const std::string all = shown();
        return std::count(all.begin(), all.end(), '7') == 2 && all.size() == 4;
    }
};

TEST_P(SetLedWithoutOneFile, WritesAndCreatesNothing) {
    std::filesystem::remove(file());

    setLed(prefix(), {1, 2, 3});

    EXPECT_FALSE(std::filesystem::exists(file()));
    EXPECT_TRUE(othersAreAsBefore()) << shown();
}

TEST_P(SetLedWithoutOneFile, WritesNothingWhenItCannotBeOpened) {
    std::filesystem::remove(file());
    std::filesystem::create_directory(file());

    setLed(prefix(), {1, 2, 3});

    std::filesystem::remove(file());
    EXPECT_TRUE(othersAreAsBefore()) << shown();
}

TEST_P(SetLedWithoutOneFile, TracesAFileThatIsThereAndCannotBeWrittenOnce) {
    const TraceCapture traces;
    std::filesystem::remove(file());
    std::filesystem::create_directory(file());

    setLed(prefix(), {1, 2, 3});
    setLed(prefix(), {3, 2, 1});

    ASSERT_EQ(traces.lines().size(), 1U);
    EXPECT_EQ(traces.lines()[0].level, StdUtil::TraceLevel::Error);
    EXPECT_EQ(traces.lines()[0].text,
              L"the LED file " + Platform::fromUtf8(prefix() + GetParam() + "/brightness") +
                  L" cannot be written");
}

TEST_P(SetLedWithoutOneFile, TracesNothingOfAMissingFile) {
    const TraceCapture traces;
    std::filesystem::remove(file());

    setLed(prefix(), {1, 2, 3});

    EXPECT_TRUE(traces.lines().empty());
}

INSTANTIATE_TEST_SUITE_P(Colours, SetLedWithoutOneFile, testing::Values("red", "green", "blue"),
                         [](const auto& test) { return std::string(test.param); });

} // namespace Quarlen::Tests
