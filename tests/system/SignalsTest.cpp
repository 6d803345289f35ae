#include <csignal>
#include <fstream>
#include <string>

#include <gmock/gmock.h>

#include "tests/system/InstalledServer.hpp"

namespace Quarlen::Tests {

namespace {

using std::chrono::milliseconds;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using Tests::longerThanAStop;
using Tests::Process;
using Tests::prompt;
using Tests::Stdio;

constexpr const char* goodbye = "\nShutting down kel_server\n";

/// No signal waits to be taken.
bool hasTakenItsSignals(const Process& process) {
    std::ifstream status("/proc/" + std::to_string(process.id()) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("SigPnd:") || line.starts_with("ShdPnd:")) {
            if (line.find_first_not_of("0\t ", line.find('\t')) != std::string::npos) {
                return false;
            }
        }
    }
    return true;
}

/// The real program and the signals that ask it to end.
class Signals : public testing::Test {
protected:
    Signals() { server.configure(""); }

    Process startOnLoopback(std::vector<std::string> options = {}, Stdio stdio = Stdio::Terminal) {
        options.insert(options.begin(), {"127.0.0.1", port});
        return server.start(options, stdio);
    }

    /// A start that never ends: it waits for an adapter that no name resolves to.
    Process startThatWaits() { return server.start({"wg0"}); }

    static bool isWaiting(Process& process) {
        return process.waitForOutput("waiting for network...");
    }

    static void sendAndWait(Process& process, int signal) {
        process.sendSignal(signal);
        const auto end = std::chrono::steady_clock::now() + Process::patience;
        while (!hasTakenItsSignals(process) && std::chrono::steady_clock::now() < end) {
            process.waitForExit(milliseconds(1));
        }
    }

    Tests::InstalledServer server;
    const std::string port = std::to_string(Tests::freePort());
};

class StoppingSignal : public Signals, public testing::WithParamInterface<int> {};

TEST_P(StoppingSignal, ShutsDownInOrderAndGivesTheTerminalBack) {
    Process process = startOnLoopback();
    ASSERT_TRUE(process.waitForOutput(prompt)) << process.output();

    process.sendSignal(GetParam());

    EXPECT_EQ(process.waitForExit(), 0);
    EXPECT_THAT(process.output(), EndsWith(goodbye));
    EXPECT_TRUE(process.terminalIsInLineMode());
}

TEST_P(StoppingSignal, ShutsDownInOrderWithoutAKeyboard) {
    Process process = startOnLoopback({"--non_interactive"}, Stdio::Pipes);
    ASSERT_TRUE(process.waitForOutput("server device: ")) << process.output();

    process.sendSignal(GetParam());

    EXPECT_EQ(process.waitForExit(), 0);
    EXPECT_THAT(process.output(), EndsWith(goodbye));
}

TEST_P(StoppingSignal, ActsOnceTheStartHasEnded) {
    server.configureSovd();
    Process process = startOnLoopback({"--delayedStart", "--sovd"});
    ASSERT_TRUE(process.waitForOutput("2sec delay")) << process.output();

    process.sendSignal(GetParam());

    EXPECT_EQ(process.waitForExit(), 0);
    EXPECT_THAT(process.output(), HasSubstr("\nSOVD server started\n"));
    EXPECT_THAT(process.output(), EndsWith(goodbye));
}

INSTANTIATE_TEST_SUITE_P(Numbers, StoppingSignal, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_F(Signals, ComeFromTheKeyboard) {
    Process process = startOnLoopback();
    ASSERT_TRUE(process.waitForOutput(prompt)) << process.output();

    process.typeSignalKey('\x03'); // Ctrl-C

    EXPECT_EQ(process.waitForExit(), 0);
    EXPECT_THAT(process.output(), EndsWith(goodbye));
    EXPECT_TRUE(process.terminalIsInLineMode());
}

TEST_F(Signals, EndTheProgramAtOnceAtTheSecond) {
    Process process = startThatWaits();
    ASSERT_TRUE(isWaiting(process)) << process.output();
    sendAndWait(process, SIGTERM);
    EXPECT_EQ(process.waitForExit(longerThanAStop), std::nullopt);

    process.sendSignal(SIGINT);

    EXPECT_EQ(process.waitForExit(), -SIGINT);
    EXPECT_THAT(process.output(), Not(HasSubstr("Shutting down")));
}

TEST_F(Signals, MayHangUpAgainWithoutCuttingTheShutdown) {
    Process process = startThatWaits();
    ASSERT_TRUE(isWaiting(process)) << process.output();
    for (const int signal : {SIGHUP, SIGHUP, SIGTERM, SIGHUP}) {
        sendAndWait(process, signal);
    }
    EXPECT_EQ(process.waitForExit(longerThanAStop), std::nullopt);

    process.sendSignal(SIGTERM);

    EXPECT_EQ(process.waitForExit(), -SIGTERM);
}

TEST_F(Signals, StayIgnoredWhereTheyWereIgnored) {
    Process process({.program = "/bin/sh",
                     .arguments = {"-c", R"(trap '' INT HUP; exec "$0" "$@")", server.program(),
                                   "127.0.0.1", port}});
    ASSERT_TRUE(process.waitForOutput(prompt)) << process.output();
    for (const int signal : {SIGINT, SIGINT, SIGHUP}) {
        sendAndWait(process, signal);
    }
    EXPECT_EQ(process.waitForExit(longerThanAStop), std::nullopt);

    process.sendSignal(SIGTERM);

    EXPECT_EQ(process.waitForExit(), 0);
}

TEST_F(Signals, LeaveTheStartSequenceItsTime) {
    server.configure("<StartSequence>Missing.xml</StartSequence>");
    Process process = startOnLoopback({"--delayedStart"});
    ASSERT_TRUE(process.waitForOutput("2sec delay")) << process.output();

    process.sendSignal(SIGTERM);

    EXPECT_EQ(process.waitForExit(), 0);
    EXPECT_THAT(process.output(), HasSubstr("\nRunning start sequence: Missing.xml\n"));
}

} // namespace

} // namespace Quarlen::Tests
