#include "tests/kel_server_lib/rest/RestFixture.hpp"

namespace Quarlen::Tests {

namespace {

using std::chrono::milliseconds;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char* forbidden = "HTTP/1.1 403 Forbidden\r\n";
constexpr const char* ok = "HTTP/1.1 200 OK\r\n";

/// What a request's header may say.
class RestHeaders : public RestFixture {
protected:
    void SetUp() override { start(); }

    /// The reply to a request on a connection of its own.
    std::string ask(const std::string& line, const std::string& headers,
                    const std::string& body = {}) const {
        RawClient client = connect();
        client.send(line + " HTTP/1.1\r\n" + headers + "\r\n" + body);
        return client.receiveReply();
    }
    std::string putSimulation(const std::string& headers) const {
        return ask("PUT /kel/v1/simulation", "Host: localhost\r\nContent-Length: 12\r\n" + headers,
                   R"({"enable":1})");
    }
    std::string getHealth(const std::string& headers) const {
        return ask("GET /kel/v1/health", "Host: localhost\r\n" + headers);
    }
};

class OtherSite : public RestHeaders, public testing::WithParamInterface<const char*> {};

TEST_P(OtherSite, IsForbiddenEveryRouteAndDoesNothing) {
    const std::string headers =
        std::string(GetParam()) + "\r\nContent-Length: 31\r\nX-Padding: \r\n";
    const std::string body = R"({"script":"A","enable":1,"x":1})";
    for (const char* line :
         {"GET /kel/v1/configurations", "GET /kel/v1/tracing", "PUT /kel/v1/tracing",
          "GET /kel/v1/projects/P/otx", "PUT /kel/v1/stop", "GET /kel/v1/version",
          "GET /kel/v1/health", "PUT /kel/v1/update", "GET /kel/v1/simulation",
          "PUT /kel/v1/simulation", "PUT /kel/v1/scripts/F1", "PUT /kel/v1/sequence/abort",
          "HEAD /kel/v1/version", "GET /elsewhere", "POST /kel/v1/version"}) {
        const std::string reply = ask(line, headers, body);
        EXPECT_THAT(reply, StartsWith(forbidden)) << line;
        EXPECT_THAT(reply, EndsWith("\r\n\r\n")) << line;
        EXPECT_THAT(reply, HasSubstr("\r\nConnection: close\r\n")) << line;
    }
    EXPECT_THAT(api->calls(), IsEmpty());
    EXPECT_FALSE(stopRequested);
    EXPECT_EQ(handler->f1.scriptName, L"");
}

INSTANTIATE_TEST_SUITE_P(Headers, OtherSite,
                         testing::Values("Host: evil.example:8011",
                                         "Host: localhost\r\nSec-Fetch-Site: cross-site",
                                         "Host: localhost\r\nHost: evil.example"));

TEST_F(RestHeaders, ForbidAWholeUrlOfAnotherHost) {
    EXPECT_THAT(ask("PUT http://evil.example/kel/v1/stop", "Host: localhost\r\n"),
                StartsWith(forbidden));
    EXPECT_FALSE(stopRequested);
}

TEST_F(RestHeaders, ForbidAnotherSiteBeforeItsBodyIsWaitedFor) {
    EXPECT_THAT(ask("PUT /kel/v1/update",
                    "Host: evil.example\r\nContent-Length: 100\r\nExpect: 100-continue\r\n"),
                StartsWith(forbidden));
}

TEST_F(RestHeaders, AreServedWithAnyNameOfThisMachineAndWithoutOne) {
    for (const char* header :
         {"", "Host: LOCALHOST\r\n", "Host: 127.0.0.1:1\r\n", "Host: [::1]:8011\r\n",
          "Host: localhost\r\nSec-Fetch-Site: none\r\n", "Sec-Fetch-Site: same-origin\r\n"}) {
        EXPECT_THAT(ask("GET /kel/v1/health", header), StartsWith(ok)) << header;
    }
}

class IgnoredRange : public RestHeaders, public testing::WithParamInterface<const char*> {};

TEST_P(IgnoredRange, DoesNotKeepAPutFromItsReply) {
    const std::string reply = putSimulation(std::string("Range: ") + GetParam() + "\r\n");

    EXPECT_THAT(reply, StartsWith(ok));
    EXPECT_THAT(reply, EndsWith("\r\n\r\n{\"status\":\"OK\"}"));
    EXPECT_EQ(api->count("applyInterfaceSettings()"), 1U);
}

INSTANTIATE_TEST_SUITE_P(Ranges, IgnoredRange,
                         testing::Values("bytes=1000-2000", "bytes=0-3", "bytes=5-2",
                                         "bytes=", "lines=1-2", "rubbish"));

TEST_F(RestHeaders, IgnoreARangeInAnotherUnit) {
    const std::string reply = getHealth("Range: lines=1000-2000\r\n");

    EXPECT_THAT(reply, StartsWith(ok));
    EXPECT_THAT(reply, EndsWith("{\"status\":\"OK\"}"));
}

TEST_F(RestHeaders, RefuseARangeOfBytesThatAReplyDoesNotHave) {
    EXPECT_THAT(getHealth("Range: bytes=1000-2000\r\n"), StartsWith("HTTP/1.1 416 "));
    EXPECT_THAT(getHealth("Range: Bytes=1000-2000\r\n"), StartsWith("HTTP/1.1 416 "));
    EXPECT_THAT(ask("HEAD /kel/v1/health", "Range: bytes=1000-2000\r\n"),
                StartsWith("HTTP/1.1 416 "));
}

TEST_F(RestHeaders, MayAskForARangeAndGetTheWholeReply) {
    const std::string reply = getHealth("Range: bytes=0-3\r\n");

    EXPECT_THAT(reply, StartsWith(ok));
    EXPECT_THAT(reply, EndsWith("{\"status\":\"OK\"}"));
}

class Expectation : public RestHeaders, public testing::WithParamInterface<const char*> {};

TEST_P(Expectation, IsMetBeforeTheBodyComes) {
    RawClient client = connect();
    client.send("PUT /kel/v1/simulation HTTP/1.1\r\nContent-Length: 12\r\nExpect: " +
                std::string(GetParam()) + "\r\n\r\n");
    ASSERT_EQ(client.receiveReply(), "HTTP/1.1 100 Continue\r\n\r\n");
    client.send(R"({"enable":1})");

    EXPECT_THAT(client.receiveReply(), StartsWith(ok));
}

INSTANTIATE_TEST_SUITE_P(Spellings, Expectation, testing::Values("100-continue", "100-Continue"));

TEST_F(RestHeaders, MayExpectToGoOnToAnUnknownRoute) {
    RawClient client = connect();
    client.send(
        "PUT /kel/v1/unknown HTTP/1.1\r\nContent-Length: 2\r\nExpect: 100-continue\r\n\r\n");
    ASSERT_EQ(client.receiveReply(), "HTTP/1.1 100 Continue\r\n\r\n");
    client.send("{}");

    EXPECT_THAT(client.receiveReply(), StartsWith("HTTP/1.1 404 "));
}

TEST_F(RestHeaders, RefuseATooLargeBodyBeforeItComes) {
    for (const char* expectation : {"", "Expect: 100-continue\r\n"}) {
        const std::string reply =
            ask("PUT /kel/v1/stop", "Content-Length: 1048577\r\n" + std::string(expectation));
        EXPECT_THAT(reply, StartsWith("HTTP/1.1 413 ")) << expectation;
        EXPECT_THAT(reply, EndsWith("\r\n\r\n"));
    }
    EXPECT_FALSE(stopRequested);
}

TEST_F(RestHeaders, EndTheConnectionWhateverTheCaseOfItsOption) {
    for (const char* option : {"close", "Close", "keep-alive, CLOSE"}) {
        RawClient client = connect();
        client.send("GET /kel/v1/health HTTP/1.1\r\nConnection: " + std::string(option) +
                    "\r\n\r\n");
        const std::string reply = client.receiveReply();

        EXPECT_THAT(reply, HasSubstr("\r\nConnection: close\r\n")) << option;
        EXPECT_THAT(reply, Not(HasSubstr("Keep-Alive"))) << option;
        EXPECT_TRUE(client.waitForClose()) << option;
    }
}

TEST_F(RestHeaders, OfHttp10AnnounceNoConnectionThatIsNotKept) {
    RawClient client = connect();
    client.send("GET /kel/v1/health HTTP/1.0\r\n\r\n");
    const std::string reply = client.receiveReply();

    EXPECT_THAT(reply, HasSubstr("\r\nConnection: close\r\n"));
    EXPECT_THAT(reply, Not(HasSubstr("Keep-Alive")));
    EXPECT_TRUE(client.waitForClose());
}

TEST_F(RestHeaders, OfHttp10KeepTheConnectionThatIsAskedFor) {
    for (const char* option : {"keep-alive", "Keep-Alive"}) {
        RawClient client = connect();
        for (int count = 0; count < 2; ++count) {
            client.send("GET /kel/v1/health HTTP/1.0\r\nConnection: " + std::string(option) +
                        "\r\n\r\n");
            const std::string reply = client.receiveReply();
            EXPECT_THAT(reply, HasSubstr("\r\nConnection: keep-alive\r\n")) << option;
            EXPECT_THAT(reply, HasSubstr("\r\nKeep-Alive: timeout=3600, max=100\r\n")) << option;
        }
    }
}

TEST_F(RestHeaders, OfHttp11SayNothingOfAConnectionThatStays) {
    EXPECT_THAT(getHealth(""), Not(HasSubstr("Connection:")));
}

} // namespace

} // namespace Quarlen::Tests
