#include <csignal>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/KeyReader.hpp"
#include "tests/platform/linux/KeyReaderBodies.hpp"
#include "tests/platform/linux/TerminalChild.hpp"
#include "tests/support/linux/ProcessState.hpp"

namespace Quarlen::Platform::Tests {

namespace {

using Quarlen::Tests::stateOf;

/// A shell that starts a job in the background and brings it to the front once it waits. Ends as
/// the job does.
int shellWithABackgroundJob() {
    const pid_t job = ::fork();
    if (job == 0) {
        ::setpgid(0, 0);
        ::_exit(showKeys());
    }
    ::setpgid(job, job);
    const char state = Quarlen::Tests::waitUntilItWaits(job);
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

/// Returns once the job runs. The terminal stops a job once more that was about to change its mode
/// when it was stopped.
void continueInTheBackground(pid_t job) {
    do {
        ::kill(-job, SIGCONT);
    } while (stateOf(job) == 'T');
}

/// What a shell does with its foreground job once that has stopped.
using AfterTheStop = void (*)(pid_t job);

/// A shell whose foreground job shows keys. Ends as the job does.
int shellWithAJob(AfterTheStop goOn, int (*work)() = showKeys) {
    const pid_t job = ::fork();
    if (job == 0) {
        ::setpgid(0, 0);
        while (::tcgetpgrp(STDIN_FILENO) != ::getpgrp()) {
        }
        ::_exit(work());
    }
    ::setpgid(job, job);
    ::signal(SIGTTOU, SIG_IGN);
    ::tcsetpgrp(STDIN_FILENO, job);
    int status = 0;
    ::waitpid(job, &status, WUNTRACED);
    while (WIFSTOPPED(status)) {
        ::tcsetpgrp(STDIN_FILENO, ::getpgrp());
        show(WSTOPSIG(status) == SIGTSTP ? "[stopped]" : "[stopped otherwise]");
        goOn(job);
        ::waitpid(job, &status, WUNTRACED);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Until somebody presses Enter.
void waitForALine() {
    char letter = 0;
    while (::read(STDIN_FILENO, &letter, 1) == 1 && letter != '\n') {
    }
}

int shellThatContinuesInTheForeground() {
    return shellWithAJob([](pid_t job) {
        waitForALine();
        ::tcsetpgrp(STDIN_FILENO, job);
        ::kill(-job, SIGCONT);
    });
}

int shellThatContinuesInTheBackgroundFirst() {
    return shellWithAJob([](pid_t job) {
        continueInTheBackground(job);
        waitForALine();
        show("[to the front]");
        ::tcsetpgrp(STDIN_FILENO, job);
    });
}

constexpr const char* ctrlZ = "\x1A";

TEST(KeyReaderJobs, GivesTheTerminalBackWhileItIsStoppedAndTakesItAgain) {
    TerminalChild child(shellThatContinuesInTheForeground, TerminalChild::Session::Own);
    child.waitForOutput("ready");
    for (const char* stopped : {"ready[stopped]", "\r\n[stopped]"}) {
        ASSERT_TRUE(child.waitForKeyMode());
        child.type(ctrlZ);
        const std::string shown = child.waitForOutput(stopped);
        ASSERT_TRUE(shown.ends_with(stopped)) << shown;
        EXPECT_TRUE(child.hasItsFirstMode());
        // What is typed in line mode is echoed, so that the second stop shows another text. The
        // key that stops throws away an echo that nobody has read yet: it is waited for.
        child.type("\n");
        const std::string echoed = child.waitForOutput("\r\n");
        ASSERT_TRUE(echoed.ends_with("\r\n")) << echoed;
    }
    ASSERT_TRUE(child.waitForKeyMode());
    child.type("q");
    EXPECT_TRUE(endedWith(child.waitForEnd(), 0));
    EXPECT_TRUE(child.hasItsFirstMode());
}

TEST(KeyReaderJobs, TakesTheTerminalOnlyInTheForeground) {
    TerminalChild child(shellThatContinuesInTheBackgroundFirst, TerminalChild::Session::Own);
    child.waitForOutput("ready");
    ASSERT_TRUE(child.waitForKeyMode());
    child.type(ctrlZ);
    child.waitForOutput("[stopped]");
    child.type("x\n");
    const std::string shown = child.waitForOutput("[to the front]");
    ASSERT_TRUE(shown.ends_with("x\r\n[to the front]")) << shown;
    ASSERT_TRUE(child.waitForKeyMode());
    child.type("q");
    EXPECT_TRUE(endedWith(child.waitForEnd(), 0));
    EXPECT_TRUE(child.hasItsFirstMode());
}

TEST(KeyReaderJobs, TakesTheTerminalAgainAfterAStopThatNobodyCanNotice) {
    TerminalChild child(
        [] {
            return shellWithAJob([](pid_t job) {
                termios lines{};
                ::tcgetattr(STDIN_FILENO, &lines);
                lines.c_lflag |= ICANON | ECHO;
                ::tcsetattr(STDIN_FILENO, TCSANOW, &lines);
                waitForALine();
                ::tcsetpgrp(STDIN_FILENO, job);
                ::kill(-job, SIGCONT);
            });
        },
        TerminalChild::Session::Own);
    child.waitForOutput("ready");
    ASSERT_TRUE(child.waitForKeyMode());
    child.signalForeground(SIGSTOP);
    child.waitForOutput("[stopped otherwise]");
    child.type("\n");
    ASSERT_TRUE(child.waitForKeyMode());
    child.type("q");
    EXPECT_TRUE(endedWith(child.waitForEnd(), 0));
    EXPECT_TRUE(child.hasItsFirstMode());
}

TEST(KeyReaderJobs, TakesAStopForGoneThatWasContinuedBeforeItWasCarriedOut) {
    TerminalChild child(
        [] {
            return shellWithAJob([](pid_t job) { ::kill(job, SIGKILL); },
                                 [] {
                                     const auto keys = openConsoleKeys();
                                     ::raise(SIGTSTP);
                                     ::raise(SIGCONT);
                                     return showKeys();
                                 });
        },
        TerminalChild::Session::Own);
    child.waitForOutput("ready");
    ASSERT_TRUE(child.waitForKeyMode());
    child.type("q");
    EXPECT_TRUE(endedWith(child.waitForEnd(), 0));
}

TEST(KeyReaderJobs, LeavesTheTerminalAloneWhenItEndsInTheBackground) {
    TerminalChild child(
        [] {
            return shellWithAJob([](pid_t job) {
                continueInTheBackground(job);
                ::kill(job, SIGTERM);
            });
        },
        TerminalChild::Session::Own);
    child.waitForOutput("ready");
    ASSERT_TRUE(child.waitForKeyMode());
    child.signalForeground(SIGSTOP);
    EXPECT_EQ(child.waitForOutput("[stopped otherwise]"), "ready[stopped otherwise]");
    constexpr int endedBySignal = 255;
    EXPECT_TRUE(endedWith(child.waitForEnd(), endedBySignal));
}

TEST(KeyReaderJobs, GoesOnWhereNobodyCouldContinueIt) {
    // The leader of a session belongs to no shell that could.
    TerminalChild child(showKeys, TerminalChild::Session::Own);
    child.waitForOutput("ready");
    child.type(ctrlZ);
    child.type("x");
    child.waitForOutput("<120>");
    ASSERT_TRUE(child.waitForKeyMode());
    child.type("q");
    EXPECT_TRUE(endedWith(child.waitForEnd(), 0));
}

TEST(KeyReaderJobs, DoesNotTakeTheTerminalAgainOnceASignalHasAskedForTheEnd) {
    TerminalChild child([] {
        std::signal(SIGTERM, [](int) { show("handled"); });
        return showKeys();
    });
    child.waitForOutput("ready");
    child.send(SIGTERM);
    child.waitForOutput("handled");
    child.send(SIGCONT);
    child.waitUntilItWaits();
    EXPECT_TRUE(child.hasItsFirstMode());
    child.type("q\n");
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

} // namespace Quarlen::Platform::Tests
