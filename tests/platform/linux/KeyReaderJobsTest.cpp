#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/KeyReader.hpp"
#include "tests/platform/linux/KeyReaderBodies.hpp"
#include "tests/platform/linux/TerminalChild.hpp"

using namespace Quarlen::Platform;

namespace {

/// A shell that starts a job in the background and brings it to the front once it waits. Ends as
/// the job does.
int shellWithABackgroundJob() {
    const pid_t job = ::fork();
    if (job == 0) {
        ::setpgid(0, 0);
        ::_exit(showKeys());
    }
    ::setpgid(job, job);
    char state = 'R';
    while (state == 'R' || state == 'D') {
        state = stateOf(job);
    }
    show(state == 'S' ? "[waits]" : "[stopped]");
    ::tcsetpgrp(STDIN_FILENO, job);
    int status = 0;
    ::waitpid(job, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(KeyReaderJobs, WaitsInTheBackgroundInsteadOfBeingStopped) {
    TerminalChild child(shellWithABackgroundJob, TerminalChild::Session::Own);
    const std::string shown = child.waitForOutput("[waits]");
    EXPECT_TRUE(shown.ends_with("[waits]")) << shown;
    child.type("q");
    child.waitForOutput("<113>");
    EXPECT_TRUE(endedWith(child.waitForEnd(), 0));
}

TEST(KeyReaderJobs, LeavesTheTerminalOfAnotherJobAlone) {
    TerminalChild child(
        [] {
            const pid_t job = ::fork();
            if (job == 0) {
                ::setpgid(0, 0);
                openConsoleKeys();
                ::_exit(0);
            }
            ::setpgid(job, job);
            int status = 0;
            ::waitpid(job, &status, WUNTRACED);
            show(WIFEXITED(status) ? "ended" : "stopped");
            ::pause();
            return 0;
        },
        TerminalChild::Session::Own);
    EXPECT_EQ(child.waitForOutput("ed"), "ended");
    EXPECT_TRUE(child.hasItsFirstMode());
}

} // namespace
