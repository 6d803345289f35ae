#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/system/InstalledServer.hpp"

namespace Quarlen::Tests {

namespace {

using testing::HasSubstr;
using Tests::Process;
using Tests::prompt;

struct Shell {
    const char* program;
    std::vector<std::string> options;
};

void PrintTo(const Shell& shell, std::ostream* output) {
    *output << shell.program;
}

/// The program as a job of a shell on a terminal.
class JobControl : public testing::TestWithParam<Shell> {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(GetParam().program)) {
            GTEST_SKIP() << "there is no " << GetParam().program;
        }
        server.configure("");
    }

    [[nodiscard]] static Tests::ProcessStart shellStart() {
        return {.program = GetParam().program, .arguments = GetParam().options};
    }

    /// Returns once the program takes keys.
    void startTheProgram(Process& shell) {
        shell.type(server.program().string() + " 127.0.0.1 " + std::to_string(Tests::freePort()) +
                   "\n");
        ASSERT_TRUE(shell.waitForOutput(prompt)) << shell.output();
        ASSERT_TRUE(waitForKeyMode(shell)) << shell.output();
    }

    static bool waitForKeyMode(Process& shell) {
        const auto end = std::chrono::steady_clock::now() + Process::patience;
        while (shell.terminalIsInLineMode()) {
            if (std::chrono::steady_clock::now() > end) {
                return false;
            }
            shell.waitForExit(std::chrono::milliseconds(10));
        }
        return true;
    }

    /// Ctrl-Z; returns when the shell has the terminal.
    static void stopTheProgram(Process& shell) {
        shell.typeSignalKey('\x1A');
        ASSERT_TRUE(shell.waitForOutput("Stopped")) << shell.output();
        shell.type("echo 'terminal' 'is' 'back'\n");
        ASSERT_TRUE(shell.waitForOutput("terminal is back")) << shell.output();
        EXPECT_TRUE(shell.terminalIsInLineMode());
    }

    static void endTheProgramAndTheShell(Process& shell) {
        shell.type("q");
        ASSERT_TRUE(shell.waitForOutput("Shutting down kel_server\n")) << shell.output();
        shell.type("echo code $?; exit 7\n");
        EXPECT_EQ(shell.waitForExit(), 7);
        EXPECT_THAT(shell.output(), HasSubstr("code 0"));
        EXPECT_TRUE(shell.terminalIsInLineMode());
    }

    Tests::InstalledServer server;
};

TEST_P(JobControl, TakesKeysAgainWhenItHasBeenStoppedAndBroughtBack) {
    Process shell(shellStart());
    startTheProgram(shell);
    stopTheProgram(shell);

    shell.type("fg\n");
    ASSERT_TRUE(waitForKeyMode(shell)) << shell.output();

    endTheProgramAndTheShell(shell);
}

TEST_P(JobControl, LeavesTheShellItsTerminalInTheBackground) {
    Process shell(shellStart());
    startTheProgram(shell);
    stopTheProgram(shell);

    shell.type("bg\n");
    shell.type("echo 'still' 'the' 'shell'\n");
    ASSERT_TRUE(shell.waitForOutput("still the shell")) << shell.output();
    EXPECT_TRUE(shell.terminalIsInLineMode());
    shell.type("fg\n");
    ASSERT_TRUE(waitForKeyMode(shell)) << shell.output();

    endTheProgramAndTheShell(shell);
}

INSTANTIATE_TEST_SUITE_P(Shells, JobControl,
                         testing::Values(Shell{"/bin/bash",
                                               {"--norc", "--noprofile", "--noediting", "-i"}},
                                         Shell{"/bin/dash", {"-i"}}));

} // namespace

} // namespace Quarlen::Tests
