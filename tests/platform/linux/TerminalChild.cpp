#include "tests/platform/linux/TerminalChild.hpp"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utmp.h>

#include <gtest/gtest.h>

#include "tests/support/linux/ProcessState.hpp"

namespace Quarlen::Platform::Tests {

namespace {

constexpr int patienceMilliseconds = 60'000;

bool sameModes(const termios& left, const termios& right) {
    return left.c_iflag == right.c_iflag && left.c_oflag == right.c_oflag &&
           left.c_cflag == right.c_cflag && left.c_lflag == right.c_lflag &&
           std::memcmp(left.c_cc, right.c_cc, sizeof left.c_cc) == 0;
}

/// Whoever started the tests in the background may have had these ignored, and a checking build
/// reports faults itself.
void useDefaultSignals() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGABRT, SIGSEGV, SIGBUS, SIGFPE}) {
        std::signal(signal, SIG_DFL);
    }
}

pid_t forkFlushed() {
    std::fflush(nullptr); // or the child would write the buffers again
    return ::fork();
}

/// How a child has ended. One that does not end by itself fails the test and is killed.
int statusAtTheEndOf(pid_t child) {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(patienceMilliseconds);
    int status = 0;
    while (::waitpid(child, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() >= deadline) {
            ADD_FAILURE() << "the process does not end";
            ::kill(child, SIGKILL);
            ::waitpid(child, &status, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return status;
}

} // namespace

TerminalChild::TerminalChild(const std::function<int()>& body, Session session) {
    EXPECT_EQ(::openpty(&screen, &terminal, nullptr, nullptr, nullptr), 0);
    ::tcgetattr(terminal, &firstMode);
    child = forkFlushed();
    if (child != 0) {
        return;
    }
    ::close(screen);
    if (session == Session::Own) {
        ::login_tty(terminal);
    } else {
        ::dup2(terminal, STDIN_FILENO);
        ::dup2(terminal, STDOUT_FILENO);
        ::close(terminal);
    }
    useDefaultSignals();
    std::exit(body());
}

TerminalChild::~TerminalChild() {
    hangUp();
    if (child > 0) {
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    }
}

const std::string& TerminalChild::waitForOutput(std::string_view text) {
    pollfd input{screen, POLLIN, 0};
    while (!std::string_view(output).ends_with(text) &&
           ::poll(&input, 1, patienceMilliseconds) > 0) {
        char letter = 0;
        if (::read(screen, &letter, 1) != 1) {
            break;
        }
        output += letter;
    }
    return output;
}

void TerminalChild::type(std::string_view keys) const {
    EXPECT_EQ(::write(screen, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
}

void TerminalChild::hangUp() {
    for (int* side : {&terminal, &screen}) {
        if (*side >= 0) {
            ::close(*side);
            *side = -1;
        }
    }
}

void TerminalChild::waitUntilItWaits() const {
    Quarlen::Tests::waitUntilItWaits(child);
}

void TerminalChild::send(int signal) const {
    waitUntilItWaits();
    EXPECT_EQ(::kill(child, signal), 0);
}

void TerminalChild::signalForeground(int signal) const {
    pid_t job = 0;
    EXPECT_EQ(::ioctl(screen, TIOCGPGRP, &job), 0);
    EXPECT_EQ(::kill(-job, signal), 0);
}

bool TerminalChild::waitForKeyMode() const {
    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(patienceMilliseconds);
    while (isInLineMode()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

termios TerminalChild::mode() const {
    termios current{};
    EXPECT_EQ(::tcgetattr(terminal, &current), 0);
    return current;
}

bool TerminalChild::isInLineMode() const {
    return (mode().c_lflag & (ICANON | ECHO)) != 0;
}

bool TerminalChild::hasItsFirstMode() const {
    return sameModes(mode(), firstMode);
}

int TerminalChild::waitForEnd() {
    const int status = statusAtTheEndOf(child);
    child = -1;
    return status;
}

int runWithInput(int input, const std::function<int()>& body) {
    const pid_t child = forkFlushed();
    if (child == 0) {
        ::dup2(input, STDIN_FILENO);
        ::_exit(body());
    }
    const int status = statusAtTheEndOf(child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace Quarlen::Platform::Tests
