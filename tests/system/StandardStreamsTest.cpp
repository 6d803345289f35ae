#include <csignal>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>

#include "tests/system/InstalledServer.hpp"

namespace Quarlen::Tests {

namespace {

using Tests::Process;

/// What a shell writes to start a program without some of its standard streams.
struct Closing {
    const char* redirections;
    std::vector<int> streams;
};

void PrintTo(const Closing& closing, std::ostream* output) {
    *output << closing.redirections;
}

class ClosedStreams : public testing::TestWithParam<Closing> {
protected:
    std::filesystem::path openedAs(const Process& process, int stream) {
        std::error_code missing;
        return std::filesystem::read_symlink(
            "/proc/" + std::to_string(process.id()) + "/fd/" + std::to_string(stream), missing);
    }

    /// The trace file is the first that the program keeps open.
    bool waitForTheTrace(Process& process, const std::string& text) {
        const auto end = std::chrono::steady_clock::now() + Process::patience;
        while (server.readConfigFile("traces/kel_server.log").find(text) == std::string::npos) {
            if (std::chrono::steady_clock::now() > end ||
                process.waitForExit(std::chrono::milliseconds(10))) {
                return false;
            }
        }
        return true;
    }

    Tests::InstalledServer server;
};

TEST_P(ClosedStreams, GoToNoFileThatTheProgramOpens) {
    server.configure(
        "<Tracing enabled=\"true\" level=\"3\"/><StartSequence>No.xml</StartSequence>");
    const std::string command = std::string("exec \"$0\" \"$@\" ") + GetParam().redirections;
    Process process({.program = "/bin/sh",
                     .arguments = {"-c", command, server.program(), "127.0.0.1",
                                   std::to_string(Tests::freePort()), "--non_interactive"}});
    ASSERT_TRUE(waitForTheTrace(process, "File not found: No.xml"));

    for (const int stream : GetParam().streams) {
        EXPECT_EQ(openedAs(process, stream), "/dev/null") << stream;
    }

    process.sendSignal(SIGTERM);
    EXPECT_EQ(process.waitForExit(), 0);
    EXPECT_THAT(server.readConfigFile("traces/kel_server.log"),
                testing::Not(testing::HasSubstr("server address: ")));
}

INSTANTIATE_TEST_SUITE_P(Streams, ClosedStreams,
                         testing::Values(Closing{"<&-", {0}}, Closing{">&-", {1}},
                                         Closing{"2>&-", {2}}, Closing{"<&- >&- 2>&-", {0, 1, 2}}));

} // namespace

} // namespace Quarlen::Tests
