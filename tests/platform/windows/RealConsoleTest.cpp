#include <atomic>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <windows.h>

#include <gtest/gtest.h>

#include "platform/KeyReader.hpp"
#include "platform/StopSignals.hpp"
#include "platform/SystemPaths.hpp"
#include "platform/Terminal.hpp"
#include "platform/windows/ConsoleModes.hpp"
#include "platform/windows/HandleOutput.hpp"
#include "tests/platform/windows/StandardHandle.hpp"

namespace Quarlen::Platform::Tests {

namespace {

constexpr DWORD keysOfAShell = ENABLE_PROCESSED_INPUT | ENABLE_LINE_INPUT | ENABLE_ECHO_INPUT |
                               ENABLE_QUICK_EDIT_MODE | ENABLE_EXTENDED_FLAGS;

/// The process's console, a new one where it has none.
HANDLE openConsole(const wchar_t* name) {
    ::AllocConsole();
    return ::CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                         nullptr, OPEN_EXISTING, 0, nullptr);
}

DWORD modeOf(HANDLE console) {
    DWORD mode = 0;
    ::GetConsoleMode(console, &mode);
    return mode;
}

class RealConsole : public testing::TestWithParam<const wchar_t*> {
protected:
    void SetUp() override {
        if (keys == INVALID_HANDLE_VALUE) {
            ASSERT_EQ(std::getenv("KEL_TEST_CONSOLE"), nullptr)
                << "the promised console is not there";
            GTEST_SKIP() << "there is no console here and none can be made";
        }
    }

    HANDLE keys = openConsole(L"CONIN$");
};

class RealScreen : public RealConsole {};

TEST_F(RealScreen, ShowsLinesInEveryModeAndKeepsItsCodePage) {
    const HANDLE screen = ::CreateConsoleScreenBuffer(GENERIC_READ | GENERIC_WRITE,
                                                      FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                                      CONSOLE_TEXTMODE_BUFFER, nullptr);
    ASSERT_NE(screen, INVALID_HANDLE_VALUE);
    const StandardHandle output(STD_OUTPUT_HANDLE, screen);
    ::SetConsoleMode(screen, 0);
    const UINT codePage = ::GetConsoleOutputCP();
    ConsoleModes modes;

    HandleOutput(STD_OUTPUT_HANDLE, modes)
        .write("Pr\xC3\xBC"
               "f\n\xE2\x82\xAC");

    std::wstring text(4, L' ');
    DWORD count = 0;
    ::ReadConsoleOutputCharacterW(screen, text.data(), 4, COORD{0, 0}, &count);
    EXPECT_EQ(text, L"Pr\u00FCf");
    ::ReadConsoleOutputCharacterW(screen, text.data(), 1, COORD{0, 1}, &count);
    EXPECT_EQ(text[0], L'\u20AC');
    EXPECT_EQ(::GetConsoleOutputCP(), codePage);
    modes.giveBack();
    EXPECT_EQ(modeOf(screen), 0U);
    ::CloseHandle(screen);
}

TEST_P(RealConsole, IsGivenBackAtTheEnd) {
    ::SetConsoleMode(keys, keysOfAShell);
    const DWORD before = modeOf(keys);
    std::wstring command = L"\"" + executablePath().wstring() +
                           L"\" --gtest_also_run_disabled_tests --gtest_catch_exceptions=0 "
                           L"--gtest_filter=RealConsoleProgram.DISABLED_" +
                           GetParam();
    STARTUPINFOW start{};
    start.cb = sizeof start;
    PROCESS_INFORMATION program{};
    ::SetConsoleCtrlHandler(nullptr, TRUE); // Ctrl-C is for the program alone
    ASSERT_NE(::CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr,
                               nullptr, &start, &program),
              0);

    EXPECT_EQ(::WaitForSingleObject(program.hProcess, 60'000), WAIT_OBJECT_0);
    ::TerminateProcess(program.hProcess, 2);

    DWORD code = 0;
    ::GetExitCodeProcess(program.hProcess, &code);
    EXPECT_NE(code, 1U) << "the program has found something wrong";
    EXPECT_EQ(modeOf(keys), before);
    ::CloseHandle(program.hThread);
    ::CloseHandle(program.hProcess);
}

INSTANTIATE_TEST_SUITE_P(Ends, RealConsole,
                         testing::Values(L"EndsInOrder", L"Aborts", L"Throws", L"Crashes",
                                         L"EndsAtCtrlC", L"EndsAtTheSecondCtrlC"));

/// Each runs in a process of its own, which the test above starts, and ends it.
class RealConsoleProgram : public testing::Test {
protected:
    /// `takeKeys` as the program does it.
    void SetUp() override {
        ::SetStdHandle(STD_INPUT_HANDLE, keys);
        ::SetConsoleCtrlHandler(nullptr, FALSE); // the test has made it ignore Ctrl-C
        reader = openConsoleKeys();
        endUnlessTaken();
    }

    /// Until the handlers of the event, which have a thread of their own, have raised the flag.
    static void waitFor(const std::atomic<bool>& flag) {
        while (!flag) {
            std::this_thread::yield();
        }
    }

    void endUnlessTaken() const {
        if ((modeOf(keys) & ENABLE_QUICK_EDIT_MODE) != 0) {
            std::exit(1); // NOLINT(concurrency-mt-unsafe): the process has one purpose
        }
    }

    HANDLE keys = openConsole(L"CONIN$");
    std::unique_ptr<KeyReader> reader;
};

TEST_F(RealConsoleProgram, DISABLED_EndsInOrder) {
    EXPECT_NE(reader, nullptr);
}

TEST_F(RealConsoleProgram, DISABLED_Aborts) {
    std::abort();
}

TEST_F(RealConsoleProgram, DISABLED_Throws) {
    throw std::runtime_error("on purpose");
}

TEST_F(RealConsoleProgram, DISABLED_Crashes) {
    ::RaiseException(EXCEPTION_ACCESS_VIOLATION, EXCEPTION_NONCONTINUABLE, 0, nullptr);
}

TEST_F(RealConsoleProgram, DISABLED_EndsAtCtrlC) {
    ::GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
    ::Sleep(100'000);
}

TEST_F(RealConsoleProgram, DISABLED_EndsAtTheSecondCtrlC) {
    const auto stopRequested = std::make_shared<std::atomic<bool>>(false);
    raiseOnStopSignals(stopRequested);
    ::GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
    waitFor(*stopRequested);
    endUnlessTaken();
    ::GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
    ::Sleep(100'000);
}

} // namespace

} // namespace Quarlen::Platform::Tests
