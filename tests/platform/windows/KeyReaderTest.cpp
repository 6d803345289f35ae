#include "platform/KeyReader.hpp"

#include <array>
#include <cstdlib>
#include <string_view>
#include <windows.h>

#include <gtest/gtest.h>

namespace Quarlen::Platform::Tests {

namespace {

/// Gives the process another standard input for as long as it lives.
class StandardInput {
public:
    explicit StandardInput(HANDLE input) : former(::GetStdHandle(STD_INPUT_HANDLE)), input(input) {
        ::SetStdHandle(STD_INPUT_HANDLE, input);
    }
    StandardInput(const StandardInput&) = delete;
    StandardInput& operator=(const StandardInput&) = delete;
    ~StandardInput() {
        ::SetStdHandle(STD_INPUT_HANDLE, former);
        ::CloseHandle(input);
    }

private:
    HANDLE former;
    HANDLE input;
};

HANDLE pipeWith(std::string_view bytes) {
    HANDLE reading = nullptr;
    HANDLE writing = nullptr;
    ::CreatePipe(&reading, &writing, nullptr, 0);
    DWORD written = 0;
    ::WriteFile(writing, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
    ::CloseHandle(writing);
    return reading;
}

TEST(KeyReader, ReadsBytesFromAPipeUntilItsEnd) {
    const StandardInput input(pipeWith("a\nq"));
    const auto keys = openConsoleKeys();

    EXPECT_EQ(keys->readKey(), 'a');
    EXPECT_EQ(keys->readKey(), '\n');
    EXPECT_EQ(keys->readKey(), 'q');
    EXPECT_EQ(keys->readKey(), std::nullopt);
}

TEST(KeyReader, IsAtTheEndWithoutAnInput) {
    const StandardInput input(nullptr);

    EXPECT_EQ(openConsoleKeys()->readKey(), std::nullopt);
}

INPUT_RECORD keyPress(wchar_t letter, WORD code = 0, BOOL down = TRUE) {
    INPUT_RECORD record{};
    record.EventType = KEY_EVENT;
    record.Event.KeyEvent.bKeyDown = down;
    record.Event.KeyEvent.wRepeatCount = 1;
    record.Event.KeyEvent.wVirtualKeyCode = code;
    record.Event.KeyEvent.uChar.UnicodeChar = letter;
    return record;
}

/// The process's console, a new one where it has none; an invalid handle where that is not
/// possible.
HANDLE openConsoleInput() {
    ::AllocConsole();
    return ::CreateFileW(L"CONIN$", GENERIC_READ | GENERIC_WRITE,
                         FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
}

TEST(KeyReader, ReadsTheLettersOfAConsoleAndNoFunctionKeys) {
    const HANDLE console = openConsoleInput();
    if (console == INVALID_HANDLE_VALUE) {
        ASSERT_EQ(std::getenv("KEL_TEST_CONSOLE"), nullptr) << "the promised console is not there";
        GTEST_SKIP() << "there is no console here and none can be made";
    }
    const StandardInput input(console);
    const auto keys = openConsoleKeys();
    ::FlushConsoleInputBuffer(console);
    const std::array presses{keyPress(0, VK_DOWN), keyPress(L'x', 'X', FALSE), keyPress(0, VK_F10),
                             keyPress(L'\u00E0'), keyPress(L'q', 'Q')};
    DWORD written = 0;
    ASSERT_NE(::WriteConsoleInputW(console, presses.data(), presses.size(), &written), 0);

    EXPECT_EQ(keys->readKey(), 0xE0);
    EXPECT_EQ(keys->readKey(), 'q');
}

} // namespace

} // namespace Quarlen::Platform::Tests
