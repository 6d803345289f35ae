#include <chrono>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/RawClient.hpp"
#include "tests/system/InstalledServer.hpp"

namespace Quarlen::Tests {

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using Tests::Process;
using Tests::RawClient;
using Tests::Stdio;

constexpr std::uint16_t restPort = 8011;

/// The real program with its REST API, on the API's own port.
class RestApi : public testing::Test {
protected:
    RestApi() { server.configure(""); }

    Process launch(const std::string& serverPort) const {
        return server.start({"127.0.0.1", serverPort, "--REST", "--non_interactive"}, Stdio::Pipes);
    }

    static void waitForRest(Process& process) {
        ASSERT_TRUE(process.waitForOutput("REST server started\n")) << process.output();
    }

    static std::string ask(const std::string& method, const std::string& path,
                           const std::string& body = {}) {
        RawClient client(restPort);
        client.send(method + " /kel/v1/" + path + " HTTP/1.1\r\nHost: localhost\r\n" +
                    "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
        return client.receiveReply();
    }

    Tests::InstalledServer server;
    const std::string port = std::to_string(Tests::freePort());
};

TEST_F(RestApi, EndsTheProgramAtPutStop) {
    Process process = launch(port);
    waitForRest(process);

    EXPECT_THAT(ask("PUT", "stop"), HasSubstr("\r\n\r\n{\"status\":\"OK\"}"));

    EXPECT_EQ(process.waitForExit(), 0);
    EXPECT_THAT(process.output(),
                MatchesRegex("server address: (.|\n)*server device: [^\n]+\n"
                             "REST API Listening in http://localhost:8011\n"
                             "REST server started\n"
                             "Shutting down kel_server\n"
                             "REST API stop listening in http://localhost:8011\n"));
}

TEST_F(RestApi, AnswersFromTheInstalledConfiguration) {
    Process process = launch(port);
    waitForRest(process);

    EXPECT_THAT(ask("GET", "configurations"), HasSubstr("config\\/projects"));
    EXPECT_THAT(ask("GET", "health"), HasSubstr("{\"status\":\"OK\"}"));
}

TEST_F(RestApi, IsNotThereWithoutItsOption) {
    Process process = server.start({"127.0.0.1", port});
    ASSERT_TRUE(process.waitForOutput("Enter 'q'")) << process.output();

    EXPECT_THROW(ask("GET", "health"), std::system_error);
    EXPECT_THAT(process.output(), Not(HasSubstr("REST")));
}

TEST_F(RestApi, IsNotSharedByASecondInstanceThatGoesOnWithoutIt) {
    Process first = launch(port);
    waitForRest(first);
    Process second = launch(std::to_string(Tests::freePort()));
    waitForRest(second);

    EXPECT_THAT(second.output(), HasSubstr("\nREST API server failed to stop listening in "
                                           "http://localhost:8011\n"));
    ask("PUT", "stop");
    EXPECT_EQ(first.waitForExit(), 0);
    EXPECT_EQ(second.waitForExit(std::chrono::milliseconds(1500)), std::nullopt);
}

TEST_F(RestApi, CanBeStartedAgainAtOnce) {
    for (int count = 0; count < 3; ++count) {
        Process process = launch(port);
        waitForRest(process);
        EXPECT_THAT(process.output(), Not(HasSubstr("failed")));
        ask("PUT", "stop");
        EXPECT_EQ(process.waitForExit(), 0);
    }
}

TEST_F(RestApi, KeepsEveryTraceUpToItsNormalEnd) {
    server.configure("<Tracing enabled=\"true\" level=\"3\"/>");
    Process process = launch(port);
    waitForRest(process);

    ask("PUT", "stop");

    EXPECT_EQ(process.waitForExit(), 0);
    EXPECT_THAT(server.readConfigFile("traces/kel_server.log"),
                testing::AllOf(HasSubstr("RESTServer:256 REST API Request: PUT /kel/v1/stop\\n\n"),
                               HasSubstr("RESTServer:288 REST server stop listening on "
                                         "http://localhost:8011\\n\n"),
                               HasSubstr("<- cancelSequence")));
}

TEST_F(RestApi, EndsIdleConnectionsBeforeDescriptorsRunOut) {
    constexpr int descriptors = 64;
    Process process(
        {.program = "/bin/sh",
         .arguments = {"-c", "ulimit -n " + std::to_string(descriptors) + "; exec \"$0\" \"$@\"",
                       server.program().string(), "127.0.0.1", port, "--REST", "--non_interactive"},
         .stdio = Stdio::Pipes});
    waitForRest(process);
    std::vector<RawClient> served;
    for (int count = 0; count < descriptors / 2; ++count) {
        served.emplace_back(restPort);
        served.back().send("GET /kel/v1/health HTTP/1.1\r\nHost: localhost\r\n\r\n");
        ASSERT_THAT(served.back().receiveReply(), HasSubstr("200 OK")) << count;
    }

    EXPECT_THAT(ask("PUT", "stop"), HasSubstr("200 OK"));

    EXPECT_TRUE(served.front().waitForClose());
    EXPECT_EQ(process.waitForExit(), 0);
}

/// Many small values take most memory: about thirty times that of their text.
std::string largeBodyOfManyValues() {
    std::string body = "[";
    while (body.size() < 1024 * 1024 - 4) {
        body += "{},";
    }
    return body + "1]";
}

TEST_F(RestApi, GivesTheMemoryOfLargeBodiesBack) {
    if (KEL_SANITIZED) {
        GTEST_SKIP() << "sanitizers keep what is freed";
    }
    constexpr std::size_t mebibyte = 1024;
    Process process = launch(port);
    waitForRest(process);
    ASSERT_THAT(ask("GET", "health"), HasSubstr("200 OK"));
    const std::size_t before = process.kibibytes("VmRSS");
    const std::string body = largeBodyOfManyValues();
    for (int count = 0; count < 100; ++count) {
        ASSERT_THAT(ask("PUT", "scripts/F3", body), HasSubstr("400 Bad Request"));
    }

    const auto deadline = std::chrono::steady_clock::now() + Process::patience;
    while (process.kibibytes("VmRSS") > before + 8 * mebibyte &&
           std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_LE(process.kibibytes("VmRSS"), before + 8 * mebibyte);
    EXPECT_LT(process.kibibytes("VmHWM"), 64 * mebibyte);
}

} // namespace

} // namespace Quarlen::Tests
