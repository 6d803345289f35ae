#include "tests/kel_server_lib/http/HttpFixture.hpp"

namespace Quarlen::Rest::Tests {

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
class RequestHeaders : public HttpFixture {
protected:
    void SetUp() override {
        server->refuseOtherSites();
        start();
    }

    /// The reply to a request on a connection of its own.
    std::string ask(const std::string& line, const std::string& headers,
                    const std::string& body = {}) const {
        RawClient client = connect();
        client.send(line + " HTTP/1.1\r\n" + headers + "\r\n" + body);
        return client.receiveReply();
    }
    std::string askToGet(const std::string& headers) const {
        return ask("GET /", "Host: localhost\r\n" + headers);
    }
};

TEST_F(RequestHeaders, ForbidAWholeUrlOfAnotherHost) {
    EXPECT_THAT(ask("PUT http://evil.example/", "Host: localhost\r\n"), StartsWith(forbidden));
    EXPECT_EQ(handled, 0);
}

TEST_F(RequestHeaders, ForbidAnotherSiteBeforeItsBodyIsWaitedFor) {
    EXPECT_THAT(
        ask("PUT /", "Host: evil.example\r\nContent-Length: 100\r\nExpect: 100-continue\r\n"),
        StartsWith(forbidden));
}

TEST_F(RequestHeaders, AreServedWithAnyNameOfThisMachineAndWithoutOne) {
    for (const char* header :
         {"", "Host: LOCALHOST\r\n", "Host: 127.0.0.1:1\r\n", "Host: [::1]:8011\r\n",
          "Host: localhost\r\nSec-Fetch-Site: none\r\n", "Sec-Fetch-Site: same-origin\r\n"}) {
        EXPECT_THAT(ask("GET /", header), StartsWith(ok)) << header;
    }
}

class IgnoredRange : public RequestHeaders, public testing::WithParamInterface<const char*> {};

TEST_P(IgnoredRange, DoesNotKeepAPutFromItsReply) {
    const std::string reply =
        ask("PUT /",
            "Host: localhost\r\nContent-Length: 4\r\nRange: " + std::string(GetParam()) + "\r\n",
            "body");

    EXPECT_THAT(reply, StartsWith(ok));
    EXPECT_THAT(reply, EndsWith("\r\n\r\nPUT / 4"));
    EXPECT_EQ(handled, 1);
}

INSTANTIATE_TEST_SUITE_P(Ranges, IgnoredRange,
                         testing::Values("bytes=1000-2000", "bytes=0-3", "bytes=5-2",
                                         "bytes=", "lines=1-2", "rubbish"));

TEST_F(RequestHeaders, IgnoreARangeInAnotherUnit) {
    const std::string reply = askToGet("Range: lines=1000-2000\r\n");

    EXPECT_THAT(reply, StartsWith(ok));
    EXPECT_THAT(reply, EndsWith("\r\n\r\nGET / 0"));
}

TEST_F(RequestHeaders, RefuseARangeOfBytesThatAReplyDoesNotHave) {
    EXPECT_THAT(askToGet("Range: bytes=1000-2000\r\n"), StartsWith("HTTP/1.1 416 "));
    EXPECT_THAT(askToGet("Range: Bytes=1000-2000\r\n"), StartsWith("HTTP/1.1 416 "));
    EXPECT_THAT(ask("HEAD /", "Range: bytes=1000-2000\r\n"), StartsWith("HTTP/1.1 416 "));
}

class Expectation : public RequestHeaders, public testing::WithParamInterface<const char*> {};

TEST_P(Expectation, IsMetBeforeTheBodyComes) {
    RawClient client = connect();
    client.send("PUT / HTTP/1.1\r\nContent-Length: 4\r\nExpect: " + std::string(GetParam()) +
                "\r\n\r\n");
    ASSERT_EQ(client.receiveReply(), "HTTP/1.1 100 Continue\r\n\r\n");
    client.send("body");

    EXPECT_THAT(client.receiveReply(), StartsWith(ok));
}

INSTANTIATE_TEST_SUITE_P(Spellings, Expectation, testing::Values("100-continue", "100-Continue"));

TEST_F(RequestHeaders, RefuseATooLargeBodyBeforeItComes) {
    for (const char* expectation : {"", "Expect: 100-continue\r\n"}) {
        const std::string reply =
            ask("PUT /", "Content-Length: 1048577\r\n" + std::string(expectation));
        EXPECT_THAT(reply, StartsWith("HTTP/1.1 413 ")) << expectation;
        EXPECT_THAT(reply, EndsWith("\r\n\r\n"));
    }
    EXPECT_EQ(handled, 0);
}

TEST_F(RequestHeaders, EndTheConnectionWhateverTheCaseOfItsOption) {
    for (const char* option : {"close", "Close", "keep-alive, CLOSE"}) {
        RawClient client = connect();
        client.send("GET / HTTP/1.1\r\nConnection: " + std::string(option) + "\r\n\r\n");
        const std::string reply = client.receiveReply();

        EXPECT_THAT(reply, HasSubstr("\r\nConnection: close\r\n")) << option;
        EXPECT_THAT(reply, Not(HasSubstr("Keep-Alive"))) << option;
        EXPECT_TRUE(client.waitForClose()) << option;
    }
}

TEST_F(RequestHeaders, OfHttp10AnnounceNoConnectionThatIsNotKept) {
    RawClient client = connect();
    client.send("GET / HTTP/1.0\r\n\r\n");
    const std::string reply = client.receiveReply();

    EXPECT_THAT(reply, HasSubstr("\r\nConnection: close\r\n"));
    EXPECT_THAT(reply, Not(HasSubstr("Keep-Alive")));
    EXPECT_TRUE(client.waitForClose());
}

TEST_F(RequestHeaders, OfHttp10KeepTheConnectionThatIsAskedFor) {
    for (const char* option : {"keep-alive", "Keep-Alive"}) {
        RawClient client = connect();
        for (int count = 0; count < 2; ++count) {
            client.send("GET / HTTP/1.0\r\nConnection: " + std::string(option) + "\r\n\r\n");
            const std::string reply = client.receiveReply();
            EXPECT_THAT(reply, HasSubstr("\r\nConnection: keep-alive\r\n")) << option;
            EXPECT_THAT(reply, HasSubstr("\r\nKeep-Alive: timeout=3600, max=100\r\n")) << option;
        }
    }
}

TEST_F(RequestHeaders, OfHttp11SayNothingOfAConnectionThatStays) {
    EXPECT_THAT(askToGet(""), Not(HasSubstr("Connection:")));
}

} // namespace

} // namespace Quarlen::Rest::Tests
