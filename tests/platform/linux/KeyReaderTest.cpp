#include "platform/KeyReader.hpp"

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/time.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/platform/linux/KeyReaderBodies.hpp"
#include "tests/platform/linux/TerminalChild.hpp"
#include "tests/support/linux/ProcessState.hpp"

namespace Quarlen::Platform::Tests {

namespace {

using Quarlen::Tests::stateOf;

/// The keys until the input ends, as an exit code: their number.
int countKeys() {
    const auto keys = openConsoleKeys();
    int count = 0;
    while (keys->readKey()) {
        ++count;
    }
    return count;
}

TEST(KeyReader, GivesEveryKeyAtOnceWithoutEcho) {
    TerminalChild child(showKeys);
    child.waitForOutput("ready");
    child.type("x");
    EXPECT_EQ(child.waitForOutput("<120>"), "ready<120>");
    child.type("Q\nq");
    EXPECT_EQ(child.waitForOutput("<113>"), "ready<120><81><10><113>");
    EXPECT_TRUE(endedWith(child.waitForEnd(), 0));
}

TEST(KeyReader, GivesBytesAboveAsciiAsPositiveNumbers) {
    TerminalChild child(showKeys);
    child.waitForOutput("ready");
    child.type("\xC3\xBCq");
    EXPECT_EQ(child.waitForOutput("<113>"), "ready<195><188><113>");
}

TEST(KeyReader, RestoresTheTerminalWhenItIsDestroyed) {
    TerminalChild child([] {
        showKeys(); // destroys its reader
        show("after");
        openConsoleKeys(); // at once destroyed
        ::pause();
        return 0;
    });
    child.waitForOutput("ready");
    EXPECT_FALSE(child.isInLineMode());
    child.type("q");
    child.waitForOutput("after");
    child.send(SIGKILL);
    child.waitForEnd();
    EXPECT_TRUE(child.hasItsFirstMode());
}

TEST(KeyReader, RestoresTheTerminalOnlyWithTheLastReader) {
    TerminalChild child([] {
        const auto first = openConsoleKeys();
        { const auto second = openConsoleKeys(); }
        termios mode{};
        ::tcgetattr(STDIN_FILENO, &mode);
        show((mode.c_lflag & ICANON) == 0 ? "ready" : "[line mode]ready");
        return first->readKey().value_or(0);
    });
    EXPECT_EQ(child.waitForOutput("ready"), "ready");
    EXPECT_FALSE(child.isInLineMode());
    child.type("a");
    EXPECT_TRUE(endedWith(child.waitForEnd(), 'a'));
    EXPECT_TRUE(child.hasItsFirstMode());
}

TEST(KeyReader, TakesTheTerminalAgainForALaterReader) {
    TerminalChild child([] {
        showKeys(); // destroys its reader
        return showKeys();
    });
    for (const char* shown : {"ready", "<113>ready"}) {
        child.waitForOutput(shown);
        EXPECT_FALSE(child.isInLineMode());
        child.type("q");
    }
    EXPECT_TRUE(endedWith(child.waitForEnd(), 0));
    EXPECT_TRUE(child.hasItsFirstMode());
}

TEST(KeyReader, RestoresTheTerminalAtExitWhileAThreadStillReads) {
    TerminalChild child([] {
        std::atomic<bool>& opened = *new std::atomic<bool>(false);
        std::thread([&opened] {
            const auto keys = openConsoleKeys();
            opened = true;
            opened.notify_one();
            keys->readKey();
        }).detach();
        opened.wait(false);
        show("ready");
        return 5;
    });
    child.waitForOutput("ready");
    EXPECT_TRUE(endedWith(child.waitForEnd(), 5));
    EXPECT_TRUE(child.hasItsFirstMode());
}

TEST(KeyReader, GoesOnReadingAfterAnInterruption) {
    TerminalChild child([] {
        struct sigaction action {};
        action.sa_handler = [](int) {
            static int count = 0;
            if (++count == 20) {
                show("interrupted");
            }
        };
        ::sigaction(SIGALRM, &action, nullptr); // without restart of what it interrupts
        const itimerval often{{0, 5000}, {0, 5000}};
        ::setitimer(ITIMER_REAL, &often, nullptr);
        return openConsoleKeys()->readKey().value_or(endOfInput);
    });
    child.waitForOutput("interrupted");
    child.type("k");
    EXPECT_TRUE(endedWith(child.waitForEnd(), 'k'));
}

TEST(KeyReader, EndsWhenTheTerminalHangsUp) {
    TerminalChild child([] {
        std::signal(SIGHUP, SIG_IGN);
        return showKeys();
    });
    child.waitForOutput("ready");
    child.hangUp();
    EXPECT_TRUE(endedWith(child.waitForEnd(), endOfInput));
}

TEST(KeyReader, ReadsAPipeToItsEnd) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    ASSERT_EQ(::write(ends[1], "a\nq", 3), 3);
    ::close(ends[1]);
    EXPECT_EQ(runWithInput(ends[0], countKeys), 3);
    ::close(ends[0]);
}

/// Writes once the calling process's first thread waits for something.
void writeToAWaitingReader(int output) {
    while (stateOf(::getpid()) != 'S') {
        std::this_thread::yield();
    }
    EXPECT_EQ(::write(output, "k", 1), 1);
}

TEST(KeyReader, WaitsForInputThatIsNonBlocking) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
    const int key = runWithInput(ends[0], [&ends] {
        const auto keys = openConsoleKeys();
        const std::jthread writer(writeToAWaitingReader, ends[1]);
        return keys->readKey().value_or(endOfInput);
    });
    EXPECT_EQ(key, 'k');
    ::close(ends[0]);
    ::close(ends[1]);
}

bool blocksTheBackgroundStop() {
    sigset_t blocked;
    return ::pthread_sigmask(SIG_BLOCK, nullptr, &blocked) == 0 &&
           ::sigismember(&blocked, SIGTTIN) == 1;
}

TEST(KeyReader, IsNotStoppedByABackgroundReadWhileItReads) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    ASSERT_EQ(::write(ends[1], "k", 1), 1);
    const int result = runWithInput(ends[0], [&ends] {
        static std::atomic<bool> blockedInside{false};
        struct sigaction action {};
        action.sa_handler = [](int) { blockedInside = blocksTheBackgroundStop(); };
        ::sigaction(SIGUSR1, &action, nullptr);
        const auto keys = openConsoleKeys();
        keys->readKey();
        if (blocksTheBackgroundStop()) {
            return 1;
        }
        const pthread_t reader = ::pthread_self();
        std::jthread writer([&ends, reader] {
            // It may wait for something else at first.
            const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
            while (!blockedInside && std::chrono::steady_clock::now() < end) {
                if (stateOf(::getpid()) == 'S') {
                    ::pthread_kill(reader, SIGUSR1);
                }
                std::this_thread::yield();
            }
            static_cast<void>(::write(ends[1], "k", 1));
        });
        keys->readKey();
        return blockedInside ? 0 : 2;
    });
    EXPECT_EQ(result, 0);
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST(KeyReader, GivesNothingWithoutAStandardInput) {
    EXPECT_EQ(runWithInput(STDIN_FILENO,
                           [] {
                               ::close(STDIN_FILENO);
                               return countKeys();
                           }),
              0);
}

TEST(KeyReader, TakesNoByteFromAFileThatGetsTheFreeNumber) {
    EXPECT_EQ(runWithInput(STDIN_FILENO,
                           [] {
                               ::close(STDIN_FILENO);
                               const auto keys = openConsoleKeys();
                               const int other = ::open("/dev/zero", O_RDONLY | O_CLOEXEC);
                               return other == STDIN_FILENO && !keys->readKey() ? 0 : 1;
                           }),
              0);
}

TEST(KeyReader, GivesNothingWhenTheInputIsClosedLater) {
    EXPECT_EQ(runWithInput(STDIN_FILENO,
                           [] {
                               const auto keys = openConsoleKeys();
                               ::close(STDIN_FILENO);
                               return keys->readKey() ? 1 : 0;
                           }),
              0);
}

} // namespace

} // namespace Quarlen::Platform::Tests
