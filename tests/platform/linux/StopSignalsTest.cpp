#include "platform/StopSignals.hpp"

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/KeyReader.hpp"
#include "tests/platform/linux/KeyReaderBodies.hpp"
#include "tests/platform/linux/TerminalChild.hpp"

namespace Quarlen::Platform::Tests {

namespace {

/// Shows every signal that it survives, and whether the flag was raised by then.
[[noreturn]] void surviveSignals() {
    const auto flag = std::make_shared<std::atomic<bool>>(false);
    raiseOnStopSignals(flag);
    show("ready");
    while (true) {
        ::pause();
        show(flag->exchange(false) ? "<raised>" : "<not raised>");
    }
}

int surviving() {
    surviveSignals();
}

bool endedBy(int status, int signal) {
    return WIFSIGNALED(status) && WTERMSIG(status) == signal;
}

class StopSignal : public testing::TestWithParam<int> {};

TEST_P(StopSignal, RaisesTheFlagAndLeavesTheProcessAlone) {
    TerminalChild child(surviving);
    child.waitForOutput("ready");
    child.send(GetParam());
    EXPECT_EQ(child.waitForOutput("raised>"), "ready<raised>");
}

INSTANTIATE_TEST_SUITE_P(Signals, StopSignal, testing::Values(SIGINT, SIGTERM, SIGHUP));

struct TwoSignals {
    int first;
    int second;
};

class SecondStopSignal : public testing::TestWithParam<TwoSignals> {};

TEST_P(SecondStopSignal, EndsTheProcessAtOnce) {
    TerminalChild child(surviving);
    child.waitForOutput("ready");
    child.send(GetParam().first);
    child.waitForOutput("raised>");
    child.send(GetParam().second);
    EXPECT_TRUE(endedBy(child.waitForEnd(), GetParam().second));
}

INSTANTIATE_TEST_SUITE_P(Signals, SecondStopSignal,
                         testing::Values(TwoSignals{SIGTERM, SIGTERM}, TwoSignals{SIGINT, SIGTERM},
                                         TwoSignals{SIGTERM, SIGINT}, TwoSignals{SIGINT, SIGINT}));

TEST(StopSignals, NeitherCountAHangUpForAFirstNorForASecondOne) {
    TerminalChild child(surviving);
    child.waitForOutput("ready");
    std::string expected = "ready";
    for (const int signal : {SIGHUP, SIGHUP, SIGTERM, SIGHUP}) {
        expected += "<raised>";
        child.send(signal);
        ASSERT_EQ(child.waitForOutput(expected), expected);
    }
    child.send(SIGTERM);
    EXPECT_TRUE(endedBy(child.waitForEnd(), SIGTERM));
}

TEST(StopSignals, StayIgnoredWhereTheyWereIgnored) {
    EXPECT_EQ(runWithInput(STDIN_FILENO,
                           [] {
                               std::signal(SIGINT, SIG_IGN);
                               const auto flag = std::make_shared<std::atomic<bool>>(false);
                               raiseOnStopSignals(flag);
                               ::raise(SIGINT);
                               ::raise(SIGINT);
                               return flag->load() ? 1 : 0;
                           }),
              0);
}

TEST(StopSignals, GoOnWithACallThatTheyInterrupt) {
    TerminalChild child([] {
        const auto flag = std::make_shared<std::atomic<bool>>(false);
        raiseOnStopSignals(flag);
        show("ready");
        char key = 0;
        return ::read(STDIN_FILENO, &key, 1) == 1 && flag->load() ? 0 : 1;
    });
    child.waitForOutput("ready");
    child.send(SIGTERM);
    child.waitUntilItWaits();
    child.type("x\n");
    EXPECT_TRUE(endedWith(child.waitForEnd(), 0));
}

TEST(StopSignals, LeaveATerminalBehindAsItWas) {
    TerminalChild child([]() -> int {
        raiseOnStopSignals(std::make_shared<std::atomic<bool>>(false));
        return showKeys();
    });
    child.waitForOutput("ready");
    EXPECT_FALSE(child.isInLineMode());
    child.send(SIGTERM);
    child.send(SIGINT);
    EXPECT_TRUE(endedBy(child.waitForEnd(), SIGINT));
    EXPECT_TRUE(child.hasItsFirstMode());
}

} // namespace

} // namespace Quarlen::Platform::Tests
