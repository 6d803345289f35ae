#include <gmock/gmock.h>

#include "tests/support/UsageText.hpp"
#include "tests/system/InstalledServer.hpp"

namespace Quarlen::Tests {

namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;
using Tests::longerThanAStop;
using Tests::Process;
using Tests::prompt;
using Tests::Stdio;

/// The real program on its console.
class Console : public testing::Test {
protected:
    Console() { server.configure(""); }

    Process startOnLoopback(std::vector<std::string> options = {}, Stdio stdio = Stdio::Terminal) {
        options.insert(options.begin(), {"127.0.0.1", port});
        return server.start(options, stdio);
    }

    Tests::InstalledServer server;
    const std::string port = std::to_string(Tests::freePort());
};

TEST_F(Console, StopsAtQAndPrintsItsLinesInOrder) {
    Process process = startOnLoopback();
    ASSERT_TRUE(process.waitForOutput(prompt)) << process.output();

    process.type("q");

    EXPECT_EQ(process.waitForExit(), 0);
    EXPECT_THAT(process.output(), MatchesRegex("server address: 127\\.0\\.0\\.1:" + port +
                                               "\n"
                                               "project path: [^\n]+/config/projects/?\n"
                                               "server version: [^\n]+\n"
                                               "cos version: [^\n]*\n"
                                               "server device: (Linux|Raspberry)\n"
                                               "Enter 'q' and Enter to exit\n"
                                               "Shutting down kel_server\n"));
}

TEST_F(Console, DoesNothingAtAnUpperCaseQ) {
    Process process = startOnLoopback();
    ASSERT_TRUE(process.waitForOutput(prompt)) << process.output();

    process.type("Q\n");

    EXPECT_EQ(process.waitForExit(longerThanAStop), std::nullopt);
    process.type("q");
    EXPECT_EQ(process.waitForExit(), 0);
}

TEST_F(Console, ShowsNoKeyAndGivesTheTerminalBackAsItWas) {
    Process process = startOnLoopback();
    ASSERT_TRUE(process.waitForOutput(prompt)) << process.output();
    EXPECT_FALSE(process.terminalIsInLineMode());

    process.type("xyzq");

    EXPECT_EQ(process.waitForExit(), 0);
    EXPECT_THAT(process.output(), Not(HasSubstr("xyz")));
    EXPECT_TRUE(process.terminalIsInLineMode());
}

TEST_F(Console, IgnoresKeysAndPrintsNoPromptWhenItIsNotInteractive) {
    Process process = startOnLoopback({"--non_interactive"});
    ASSERT_TRUE(process.waitForOutput("server device: ")) << process.output();

    process.type("q\n");

    EXPECT_EQ(process.waitForExit(longerThanAStop), std::nullopt);
    EXPECT_THAT(process.output(), Not(HasSubstr("Enter 'q'")));
    EXPECT_TRUE(process.terminalIsInLineMode());
}

TEST_F(Console, KeepsRunningAtTheEndOfItsInput) {
    Process process = startOnLoopback({}, Stdio::Pipes);
    process.closeInput();

    ASSERT_TRUE(process.waitForOutput("server device: ")) << process.output();

    EXPECT_EQ(process.waitForExit(longerThanAStop), std::nullopt);
}

TEST_F(Console, ReadsKeysFromAPipe) {
    Process process = startOnLoopback({}, Stdio::Pipes);
    process.type("Qaq");

    EXPECT_EQ(process.waitForExit(), 0);
    EXPECT_THAT(process.output(), HasSubstr("Shutting down kel_server\n"));
}

TEST_F(Console, SurvivesAReaderThatGoesAway) {
    Process process = startOnLoopback({}, Stdio::Pipes);
    ASSERT_TRUE(process.waitForOutput("server device: ")) << process.output();
    process.closeOutput();

    process.type("q");

    EXPECT_EQ(process.waitForExit(), 0);
}

TEST_F(Console, WaitsTwoSecondsBeforeADelayedStart) {
    const auto begin = std::chrono::steady_clock::now();
    Process process = startOnLoopback({"--delayedStart"});
    ASSERT_TRUE(process.waitForOutput("server address: ")) << process.output();

    EXPECT_GE(std::chrono::steady_clock::now() - begin, milliseconds(2000));
    EXPECT_THAT(process.output(),
                StartsWith("starting server with a 2sec delay (from restart request)\n"));
}

TEST_F(Console, StartsTheSovdServer) {
    server.configureSovd();
    Process process = startOnLoopback({"--sovd"});
    ASSERT_TRUE(process.waitForOutput(prompt)) << process.output();
    EXPECT_THAT(process.output(), HasSubstr("\nSOVD server started\n"));

    process.type("q");

    EXPECT_EQ(process.waitForExit(), 0);
}

class UsageOnTheConsole : public Console, public testing::WithParamInterface<const char*> {};

TEST_P(UsageOnTheConsole, IsByteForByteAndLeavesTheRuntimeAlone) {
    server.writeConfigFile("KelServer.xml", "no configuration");
    Process process = server.start({GetParam()}, Stdio::Pipes);

    EXPECT_EQ(process.waitForExit(), 0);

    EXPECT_EQ(process.output(), Tests::usageText("kel_server"));
}

INSTANTIATE_TEST_SUITE_P(Arguments, UsageOnTheConsole,
                         testing::Values("--help", "-help", "?", "x-helpx"));

TEST_F(Console, TakesAnArgumentThatIsNoTextForAnEmptyOne) {
    Process process = server.start({"\xFF--help", port}, Stdio::Pipes);

    EXPECT_EQ(process.waitForExit(), 2);

    EXPECT_THAT(process.output(), StartsWith("Exception caught: "));
    EXPECT_THAT(process.output(), HasSubstr("\":" + port + "\""));
}

} // namespace

} // namespace Quarlen::Tests
