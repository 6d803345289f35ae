#include "platform/windows/ConsoleModes.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/platform/windows/ScriptedConsole.hpp"

namespace Quarlen::Platform::Tests {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr DWORD shellKeys = ENABLE_PROCESSED_INPUT | ENABLE_LINE_INPUT | ENABLE_ECHO_INPUT |
                            ENABLE_MOUSE_INPUT | ENABLE_INSERT_MODE | ENABLE_QUICK_EDIT_MODE |
                            ENABLE_EXTENDED_FLAGS;

class ConsoleModesOf : public testing::Test {
protected:
    ScriptedConsole console;
    ConsoleModes modes{console.calls()};
    HANDLE keys = &keysPlace;
    HANDLE screen = &screenPlace;

private:
    int keysPlace = 0;
    int screenPlace = 0;
};

TEST_F(ConsoleModesOf, AConsoleWithKeysHaveNoQuickEditAndNoPauseKey) {
    console.modes[keys] = shellKeys;

    EXPECT_TRUE(takeKeys(modes, keys));

    EXPECT_EQ(console.modes[keys], DWORD{ENABLE_PROCESSED_INPUT | ENABLE_MOUSE_INPUT |
                                         ENABLE_INSERT_MODE | ENABLE_EXTENDED_FLAGS});
}

TEST_F(ConsoleModesOf, AProcessThatBreaksOffAreGivenBack) {
    console.modes[keys] = shellKeys;
    takeKeys(modes, keys);

    modes.giveBackUnlessBusy();

    EXPECT_EQ(console.modes[keys], shellKeys);
    EXPECT_FALSE(takeKeys(modes, keys));
}

TEST(ConsoleModesOfAThread, ThatBreaksOffWhileItChangesThemAreNotWaitedFor) {
    ScriptedConsole console;
    ConsoleModes* broken = nullptr;
    ConsoleCalls calls = console.calls();
    calls.setMode = [&](HANDLE, DWORD) {
        broken->giveBackUnlessBusy();
        return TRUE;
    };
    ConsoleModes modes(calls);
    broken = &modes;
    int place = 0;
    console.modes[&place] = shellKeys;

    EXPECT_TRUE(takeKeys(modes, &place));
}

TEST_F(ConsoleModesOf, AConsoleWithoutAReaderLoseQuickEditAlone) {
    console.modes[keys] = shellKeys;

    EXPECT_TRUE(takeQuickEdit(modes, keys));
    EXPECT_EQ(console.modes[keys], shellKeys & ~DWORD{ENABLE_QUICK_EDIT_MODE});

    modes.giveBack();
    EXPECT_EQ(console.modes[keys], shellKeys);
}

TEST_F(ConsoleModesOf, AConsoleAreGivenBackAsTheyWereFoundFirst) {
    console.modes[keys] = shellKeys;
    console.modes[screen] = 0;
    takeKeys(modes, keys);
    takeScreen(modes, screen);
    modes.change(screen, {.on = ENABLE_VIRTUAL_TERMINAL_PROCESSING});

    modes.giveBack();

    EXPECT_EQ(console.modes[keys], shellKeys);
    EXPECT_EQ(console.modes[screen], 0U);
}

TEST_F(ConsoleModesOf, TwoHandlesOfOneScreenAreGivenBackInTheOtherOrder) {
    console.modes[screen] = ENABLE_PROCESSED_OUTPUT;
    takeScreen(modes, screen);
    console.modes[keys] = console.modes[screen];
    modes.change(keys, {.on = ENABLE_VIRTUAL_TERMINAL_PROCESSING});
    console.changes.clear();

    modes.giveBack();

    EXPECT_THAT(console.changes, ElementsAre(ENABLE_PROCESSED_OUTPUT | ENABLE_WRAP_AT_EOL_OUTPUT,
                                             ENABLE_PROCESSED_OUTPUT));
}

TEST_F(ConsoleModesOf, AConsoleThatDoesNotTellQuickEditGetTheSystemsDefault) {
    console.modes[keys] = ENABLE_PROCESSED_INPUT;
    takeKeys(modes, keys);
    console.changes.clear();

    modes.giveBack();

    EXPECT_THAT(console.changes, ElementsAre(ENABLE_PROCESSED_INPUT | ENABLE_EXTENDED_FLAGS |
                                                 ENABLE_QUICK_EDIT_MODE | ENABLE_INSERT_MODE,
                                             ENABLE_PROCESSED_INPUT));
}

TEST_F(ConsoleModesOf, AConsoleAreGivenBackOnce) {
    console.modes[keys] = shellKeys;
    takeKeys(modes, keys);
    modes.giveBack();
    console.modes[keys] = 0; // by the shell

    modes.giveBack();

    EXPECT_EQ(console.modes[keys], 0U);
}

TEST_F(ConsoleModesOf, AConsoleAreNotTakenAgainAtTheEnd) {
    console.modes[keys] = shellKeys;
    modes.giveBack();

    EXPECT_FALSE(takeKeys(modes, keys));

    EXPECT_EQ(console.modes[keys], shellKeys);
}

TEST_F(ConsoleModesOf, AConsoleThatIsRightAlreadyAreLeftAlone) {
    console.modes[screen] = ENABLE_PROCESSED_OUTPUT | ENABLE_WRAP_AT_EOL_OUTPUT;

    EXPECT_TRUE(takeScreen(modes, screen));
    modes.giveBack();

    EXPECT_THAT(console.changes, IsEmpty());
}

TEST_F(ConsoleModesOf, AFileAreNotChanged) {
    EXPECT_FALSE(takeScreen(modes, screen));
    modes.giveBack();

    EXPECT_THAT(console.changes, IsEmpty());
}

TEST_F(ConsoleModesOf, AScreenShowTextsInEveryMode) {
    console.modes[screen] = ENABLE_VIRTUAL_TERMINAL_PROCESSING | DISABLE_NEWLINE_AUTO_RETURN;

    takeScreen(modes, screen);

    EXPECT_EQ(console.modes[screen],
              DWORD{ENABLE_PROCESSED_OUTPUT | ENABLE_WRAP_AT_EOL_OUTPUT |
                    ENABLE_VIRTUAL_TERMINAL_PROCESSING | DISABLE_NEWLINE_AUTO_RETURN});
}

} // namespace

} // namespace Quarlen::Platform::Tests
