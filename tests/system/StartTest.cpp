#include <fstream>
#include <iterator>

#include <gmock/gmock.h>

#include "tests/support/UsageText.hpp"
#include "tests/system/InstalledServer.hpp"

namespace Quarlen::Tests {

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using Tests::Process;
using Tests::prompt;
using Tests::Stdio;

/// The real program with good and bad configurations.
class Start : public testing::Test {
protected:
    static std::string address(const std::string& host, const std::string& port) {
        return "<ServerAddress><IpAddress>" + host + "</IpAddress><Port>" + port +
               "</Port></ServerAddress>";
    }

    static std::string addresses(const std::string& entries) {
        return "<ServerAddresses>" + entries + "</ServerAddresses>";
    }

    Tests::InstalledServer server;
};

TEST_F(Start, EndsWithOneWithoutAnyAddress) {
    Process process = server.start({}, Stdio::Pipes);

    EXPECT_EQ(process.waitForExit(), 1);

    EXPECT_THAT(process.output(), StartsWith("There is no configuration file "));
    EXPECT_THAT(process.output(),
                EndsWith("\nMissing ServerAddresses configuration in kelServer.xml and also "
                         "address is not given as parameter to application\n" +
                         Tests::usageText("kel_server") + "Shutting down kel_server\n"));
}

TEST_F(Start, EndsWithTwoAndNamesThePlaceInABrokenConfiguration) {
    server.writeConfigFile("KelServer.xml", "<KelServer>\n  <ServerAddresses>\n</KelServer>\n");
    Process process = server.start({"127.0.0.1"}, Stdio::Pipes);

    EXPECT_EQ(process.waitForExit(), 2);

    EXPECT_THAT(process.output(),
                AllOf(StartsWith("Exception caught: "), HasSubstr("config/KelServer.xml:3:3: "),
                      HasSubstr(" code: "), HasSubstr("\nShutting down kel_server\n")));
}

TEST_F(Start, EndsWithTwoAndNamesAddressAndCauseWhenThePortIsTaken) {
    const Tests::TakenPort taken;
    server.configure("");
    const std::string port = std::to_string(taken.number());
    Process process = server.start({"127.0.0.1", port}, Stdio::Pipes);

    EXPECT_EQ(process.waitForExit(), 2);

    EXPECT_THAT(process.output(),
                AllOf(StartsWith("Exception caught: "), HasSubstr("127.0.0.1:" + port),
                      HasSubstr("in use"), HasSubstr(" code: ")));
}

TEST_F(Start, EndsWithTwoWhereAnOptionStandsInThePortsPlaceOrInTheAddresss) {
    server.configure("");
    Process noPort = server.start({"127.0.0.1", "--ret"}, Stdio::Pipes);
    Process noAddress = server.start({"--ret", "127.0.0.1"}, Stdio::Pipes);

    EXPECT_EQ(noPort.waitForExit(), 2);
    EXPECT_EQ(noAddress.waitForExit(), 2);

    EXPECT_THAT(noPort.output(), HasSubstr("\"127.0.0.1:0\": the port is 0, expected a number"));
    EXPECT_THAT(noAddress.output(), HasSubstr("the host \"--ret\" starts like an option"));
}

TEST_F(Start, GoesOnWithoutTracesWhereTheyCannotBeWrittenAndSaysSoOnce) {
    server.configure(R"(<Tracing enabled="true" level="3"/>)");
    server.writeConfigFile("traces", "a file in the folder's place");
    Process process = server.start({"127.0.0.1", std::to_string(Tests::freePort())});
    ASSERT_TRUE(process.waitForOutput(prompt)) << process.output();
    process.type("q");
    EXPECT_EQ(process.waitForExit(), 0);

    const std::string& output = process.output();
    EXPECT_THAT(output, StartsWith("Tracing is off: the trace file "));
    EXPECT_EQ(output.find("Tracing is off"), output.rfind("Tracing is off"));
}

TEST_F(Start, StartsOnEveryConfiguredAddressThatIsFree) {
    const Tests::TakenPort taken;
    const std::string takenPort = std::to_string(taken.number());
    const std::string freePort = std::to_string(Tests::freePort());
    server.configure(addresses(address("127.0.0.1", takenPort) + address("127.0.0.1", freePort)));
    Process process = server.start({});

    ASSERT_TRUE(process.waitForOutput(prompt)) << process.output();

    EXPECT_THAT(process.output(),
                StartsWith("startServer(127.0.0.1:" + takenPort + ") failed. Exception caught : "));
    EXPECT_THAT(process.output(), HasSubstr("\nserver address: 127.0.0.1:" + freePort + "\n"));
    process.type("q");
    EXPECT_EQ(process.waitForExit(), 0);
}

TEST_F(Start, TakesTheBrokerFromItsFile) {
    const std::string port = std::to_string(Tests::freePort());
    server.writeConfigFile("broker.txt", "http://127.0.0.1:" + port);
    server.configure(addresses(address("$$BROKERURL$$", "1")) +
                     "<BrokerUrlFile>broker.txt</BrokerUrlFile>");
    Process process = server.start({});

    ASSERT_TRUE(process.waitForOutput(prompt)) << process.output();

    EXPECT_THAT(process.output(), StartsWith("server address: 127.0.0.1:" + port + "\n"));
    process.type("q");
    EXPECT_EQ(process.waitForExit(), 0);
}

TEST_F(Start, RunsTheExampleSequenceAndWritesAReport) {
    server.useExampleConfig();
    const std::string port = std::to_string(Tests::freePort());
    Process process = server.start({"127.0.0.1", port});
    ASSERT_TRUE(process.waitForOutput(prompt)) << process.output();
    process.type("q");
    ASSERT_EQ(process.waitForExit(), 0);

    EXPECT_THAT(process.output(), HasSubstr("\nRunning start sequence: Demo.xml\n"));
    EXPECT_THAT(process.output(), testing::Not(HasSubstr("Exception caught")));
    std::vector<std::filesystem::path> reports;
    for (const auto& entry : std::filesystem::directory_iterator(server.config() / "reports")) {
        reports.push_back(entry.path());
    }
    ASSERT_EQ(reports.size(), 1U);
    std::ifstream file(reports.front());
    const std::string page{std::istreambuf_iterator<char>(file), {}};
    EXPECT_THAT(page, AllOf(HasSubstr("WKLDEMO0000000042"), HasSubstr("ENGINE"),
                            HasSubstr("GATEWAY"), HasSubstr("BRAKES")));
    EXPECT_THAT(server.readConfigFile("traces/kel_server.log"),
                AllOf(HasSubstr("quick test of \"VIT_A\" ended: 3 of 3 control units read, "),
                      HasSubstr("procedure \"Otx_ReadIdent\" ended: passed, Identification read")));
}

TEST_F(Start, GoesOnWithoutAMissingStartSequence) {
    server.configure("<StartSequence>Missing.xml</StartSequence>");
    Process process = server.start({"127.0.0.1", std::to_string(Tests::freePort())});

    ASSERT_TRUE(process.waitForOutput(prompt)) << process.output();

    EXPECT_THAT(process.output(), HasSubstr("\nRunning start sequence: Missing.xml\n"));
    process.type("q");
    EXPECT_EQ(process.waitForExit(), 0);
}

TEST_F(Start, FindsItsConfigurationBesideTheProgramAndNotBesideALinkToIt) {
    const Tests::InstalledServer elsewhere;
    std::filesystem::remove(elsewhere.program());
    std::filesystem::create_symlink(server.program(), elsewhere.program());
    server.writeConfigFile("KelServer.xml", "broken");
    Process process = elsewhere.start({"127.0.0.1"}, Stdio::Pipes);

    EXPECT_EQ(process.waitForExit(), 2);

    EXPECT_THAT(process.output(), HasSubstr((server.config() / "KelServer.xml").string()));
}

} // namespace

} // namespace Quarlen::Tests
