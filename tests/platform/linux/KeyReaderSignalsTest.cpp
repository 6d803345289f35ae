#include <csignal>
#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/KeyReader.hpp"
#include "tests/platform/linux/KeyReaderBodies.hpp"
#include "tests/platform/linux/TerminalChild.hpp"

namespace Quarlen::Platform::Tests {

namespace {

class EndingSignal : public testing::TestWithParam<int> {};

TEST_P(EndingSignal, RestoresTheTerminalAndEndsTheProcess) {
    TerminalChild child(showKeys);
    child.waitForOutput("ready");
    EXPECT_FALSE(child.isInLineMode());
    child.send(GetParam());
    const int status = child.waitForEnd();
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), GetParam());
    EXPECT_TRUE(child.hasItsFirstMode());
}

INSTANTIATE_TEST_SUITE_P(Signals, EndingSignal,
                         testing::Values(SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGABRT, SIGSEGV, SIGBUS,
                                         SIGFPE));

TEST(EndingSignal, RestoresTheTerminalOfAProgramThatAbortsItself) {
    TerminalChild child([]() -> int {
        const auto keys = openConsoleKeys();
        show("ready");
        keys->readKey();
        std::abort();
    });
    child.waitForOutput("ready");
    EXPECT_FALSE(child.isInLineMode());
    child.type("x");
    const int status = child.waitForEnd();
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGABRT);
    EXPECT_TRUE(child.hasItsFirstMode());
}

TEST(EndingSignal, StillComesFromTheKeyboard) {
    TerminalChild child(showKeys, TerminalChild::Session::Own);
    child.waitForOutput("ready");
    child.waitUntilItWaits();
    child.type("\x03"); // Ctrl-C
    const int status = child.waitForEnd();
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGINT);
}

TEST(EndingSignal, StaysIgnoredWhereItWasIgnored) {
    TerminalChild child([] {
        std::signal(SIGHUP, SIG_IGN);
        return showKeys();
    });
    child.waitForOutput("ready");
    child.send(SIGHUP);
    child.type("x");
    child.waitForOutput("<120>");
    EXPECT_FALSE(child.isInLineMode());
    child.type("q");
    EXPECT_TRUE(endedWith(child.waitForEnd(), 0));
}

TEST(EndingSignal, ReachesTheHandlerThatWasThereBefore) {
    TerminalChild child([] {
        std::signal(SIGTERM, [](int) { show("handled"); });
        return showKeys();
    });
    child.waitForOutput("ready");
    child.send(SIGTERM);
    EXPECT_EQ(child.waitForOutput("handled"), "readyhandled");
    EXPECT_TRUE(child.hasItsFirstMode());
    child.type("q\n");
    EXPECT_TRUE(endedWith(child.waitForEnd(), 0));
}

TEST(EndingSignal, GetsItsFormerDispositionBackWithTheLastReader) {
    TerminalChild child([] {
        struct sigaction current {};
        {
            const auto keys = openConsoleKeys();
            ::sigaction(SIGTERM, nullptr, &current);
            if (current.sa_handler == SIG_DFL) {
                return 1;
            }
        }
        ::sigaction(SIGTERM, nullptr, &current);
        return current.sa_handler == SIG_DFL ? 0 : 2;
    });
    EXPECT_TRUE(endedWith(child.waitForEnd(), 0));
}

TEST(EndingSignal, LeavesAHandlerAloneThatCameAfterTheReader) {
    TerminalChild child([] {
        const auto later = [](int) {};
        {
            const auto keys = openConsoleKeys();
            std::signal(SIGTERM, later);
        }
        struct sigaction current {};
        ::sigaction(SIGTERM, nullptr, &current);
        return current.sa_handler == static_cast<void (*)(int)>(later) ? 0 : 1;
    });
    EXPECT_TRUE(endedWith(child.waitForEnd(), 0));
}

TEST(EndingSignal, LetsALaterReaderTakeTheTerminalWhereTheProcessGoesOn) {
    TerminalChild child([] {
        std::signal(SIGTERM, [](int) { show("handled"); });
        showKeys(); // destroys its reader
        return showKeys();
    });
    child.waitForOutput("ready");
    child.send(SIGTERM);
    child.waitForOutput("handled");
    child.type("q\n");
    child.waitForOutput("ready");
    EXPECT_TRUE(child.waitForKeyMode());
    child.type("q");
    EXPECT_TRUE(endedWith(child.waitForEnd(), 0));
}

} // namespace

} // namespace Quarlen::Platform::Tests
