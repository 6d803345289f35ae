#include <vector>

#include "tests/kel_server_lib/rest/RestFixture.hpp"

namespace Quarlen::Tests {

namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// What no polite client sends, and more clients than usual.
class RestLimits : public RestFixture {
protected:
    void SetUp() override {
        allowConnections(1024);
        start();
    }

    static std::string putRequest(const std::string& path, const std::string& headers,
                                  const std::string& body = {}) {
        return "PUT " + path + " HTTP/1.1\r\nHost: localhost\r\n" + headers + "\r\n" + body;
    }

    std::vector<RawClient> connectIdle(std::size_t count) const {
        std::vector<RawClient> clients;
        clients.reserve(count);
        while (clients.size() < count) {
            clients.push_back(connect());
        }
        return clients;
    }

    /// True when the server still serves somebody else.
    bool servesAFurtherClient() const { return get("/kel/v1/health").status == 200; }
};

TEST_F(RestLimits, ServesAFurtherClientBesideFiftyIdleConnections) {
    const auto idle = connectIdle(50);

    EXPECT_TRUE(servesAFurtherClient());
}

TEST_F(RestLimits, ServesClientsThatArriveTogether) {
    auto clients = connectIdle(40);
    for (RawClient& client : clients) {
        client.send(healthRequest);
    }

    for (RawClient& client : clients) {
        EXPECT_THAT(client.receiveReply(), StartsWith("HTTP/1.1 200 OK\r\n"));
    }
}

TEST_F(RestLimits, ServesNewClientsOnceOthersHaveGone) {
    {
        auto clients = connectIdle(520);
        // The last one: those that came first have made room for it.
        clients.back().send(healthRequest);
        ASSERT_THAT(clients.back().receiveReply(), HasSubstr("200 OK"));
    }
    bool served = false;
    for (int attempt = 0; attempt < 500 && !served; ++attempt) {
        served = servesAFurtherClient();
        clock.sleepFor(milliseconds(1));
    }

    EXPECT_TRUE(served);
}

class SlowClient : public RestLimits, public testing::WithParamInterface<const char*> {};

TEST_P(SlowClient, LosesItsConnectionAlthoughItKeepsSending) {
    RawClient client = connect();
    client.send(GetParam());
    const auto begin = std::chrono::steady_clock::now();

    while (client.send("a") && !client.waitForClose(milliseconds(200))) {
        ASSERT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
    }

    EXPECT_TRUE(servesAFurtherClient());
}

INSTANTIATE_TEST_SUITE_P(Requests, SlowClient,
                         testing::Values("GET /kel", "GET /kel/v1/health HTTP/1.1\r\nX-Long: ",
                                         "PUT /kel/v1/tracing HTTP/1.1\r\nContent-Length: 100000"
                                         "\r\n\r\n{"));

TEST_F(RestLimits, AnswersAPutWithoutALengthAtOnce) {
    RawClient client = connect();
    client.send(putRequest("/kel/v1/sequence/abort", ""));

    EXPECT_THAT(client.receiveReply(milliseconds(3000)), HasSubstr("{\"status\":\"OK\"}"));
}

TEST_F(RestLimits, DoesNotTakeTheNextRequestForTheBodyOfAPutWithoutALength) {
    RawClient client = connect();
    client.send(putRequest("/kel/v1/sequence/abort", ""));
    ASSERT_THAT(client.receiveReply(), HasSubstr("{\"status\":\"OK\"}"));
    client.send("GET /kel/v1/tracing HTTP/1.1\r\nHost: localhost\r\n\r\n");

    EXPECT_THAT(client.receiveReply(), HasSubstr("{\"tracing\":false}"));
}

TEST_F(RestLimits, AnswersRequestsThatWereSentAheadInTheirOrder) {
    RawClient client = connect();
    client.send(putRequest("/kel/v1/sequence/abort", "") +
                putRequest("/kel/v1/simulation", "Content-Length: 12\r\n", R"({"enable":1})") +
                "GET /kel/v1/tracing HTTP/1.1\r\nHost: localhost\r\n\r\n" + healthRequest);

    EXPECT_THAT(client.receiveReply(), HasSubstr("{\"status\":\"OK\"}"));
    EXPECT_THAT(client.receiveReply(), HasSubstr("{\"status\":\"OK\"}"));
    EXPECT_THAT(client.receiveReply(), HasSubstr("{\"tracing\":false}"));
    EXPECT_THAT(client.receiveReply(), HasSubstr("{\"status\":\"OK\"}"));
    EXPECT_EQ(api->count("applyInterfaceSettings()"), 1U);
}

TEST_F(RestLimits, TakesABodyInChunks) {
    RawClient client = connect();
    client.send(putRequest("/kel/v1/simulation", "Transfer-Encoding: chunked\r\n",
                           "7\r\n{\"enabl\r\n5\r\ne\":1}\r\n0\r\n\r\n"));

    EXPECT_THAT(client.receiveReply(), HasSubstr("{\"status\":\"OK\"}"));
}

TEST_F(RestLimits, TakesBodiesInChunksFromManyClientsAtOnce) {
    std::atomic<int> answered{0};
    {
        std::vector<std::jthread> clients;
        for (int count = 0; count < 24; ++count) {
            clients.emplace_back([&] {
                RawClient client = connect();
                client.send(putRequest("/kel/v1/update", "Transfer-Encoding: chunked\r\n",
                                       "1\r\n[\r\n1\r\n]\r\n0\r\n\r\n"));
                answered += client.receiveReply().starts_with("HTTP/1.1 200 OK\r\n") ? 1 : 0;
            });
        }
    }

    EXPECT_EQ(answered, 24);
    EXPECT_TRUE(servesAFurtherClient());
}

TEST_F(RestLimits, RefusesATransferEncodingThatItDoesNotKnow) {
    RawClient client = connect();
    client.send(putRequest("/kel/v1/stop", "Transfer-Encoding: gzip\r\n", healthRequest));

    EXPECT_THAT(client.receiveReply(), StartsWith("HTTP/1.1 501 Not Implemented\r\n"));
    EXPECT_TRUE(client.waitForClose(milliseconds(3000)));
    EXPECT_FALSE(stopRequested);
}

TEST_F(RestLimits, TakesABodyOfOneMebibyte) {
    const std::string body = R"({"tracing":true,"x":")";
    const std::string padding(1024 * 1024 - body.size() - 2, 'x');

    EXPECT_EQ(put("/kel/v1/tracing", body + padding + "\"}").status, 200);
}

TEST_F(RestLimits, RefusesALargerBody) {
    const HttpReply reply = put("/kel/v1/tracing", std::string(1024 * 1024 + 1, ' '));

    EXPECT_EQ(reply.status, 413);
    EXPECT_THAT(reply.body, IsEmpty());
    EXPECT_THAT(api->calls(), IsEmpty());
}

TEST_F(RestLimits, RefusesALargerBodyInChunks) {
    RawClient client = connect();
    client.send(putRequest("/kel/v1/tracing", "Transfer-Encoding: chunked\r\n", "100001\r\n"));
    client.send(std::string(1024 * 1024 + 1, ' '));
    client.send("\r\n0\r\n\r\n");

    EXPECT_THAT(client.receiveReply(), StartsWith("HTTP/1.1 413 "));
}

TEST_F(RestLimits, TellsAClientThatIsStillSendingThatItsBodyIsTooLarge) {
    const std::size_t length = std::size_t{20} * 1024 * 1024;
    RawClient client = connect();
    client.send(
        putRequest("/kel/v1/tracing", "Content-Length: " + std::to_string(length) + "\r\n"));
    EXPECT_TRUE(client.send(std::string(length, ' ')));

    EXPECT_THAT(client.receiveReply(), StartsWith("HTTP/1.1 413 "));
    EXPECT_TRUE(client.waitForClose(milliseconds(3000)));
}

class NamedBody : public RestLimits, public testing::WithParamInterface<const char*> {};

TEST_P(NamedBody, IsJsonWhateverTheClientCallsIt) {
    const std::string body = R"({"tracing":true,"x":")" + std::string(20'000, 'x') + "\"}";
    RawClient client = connect();
    client.send(putRequest("/kel/v1/tracing",
                           std::string(GetParam()) +
                               "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n",
                           body));

    EXPECT_THAT(client.receiveReply(), HasSubstr("{\"status\":\"OK\"}"));
}

INSTANTIATE_TEST_SUITE_P(Headers, NamedBody,
                         testing::Values("Content-Type: application/json; charset=utf-8",
                                         "Content-Type: application/x-www-form-urlencoded",
                                         "Content-Type: multipart/form-data; boundary=x",
                                         "Content-Encoding: gzip", "Content-Encoding: br"));

TEST_F(RestLimits, EndsAConnectionWithItsHundredthReply) {
    RawClient client = connect();
    for (int count = 1; count < 100; ++count) {
        client.send(healthRequest);
        ASSERT_THAT(client.receiveReply(), HasSubstr("\r\nKeep-Alive: timeout=3600, max=100\r\n"));
    }
    client.send(healthRequest);

    EXPECT_THAT(client.receiveReply(), HasSubstr("\r\nConnection: close\r\n"));
    EXPECT_TRUE(client.waitForClose());
}

TEST_F(RestLimits, RoutesTheLongestTargetThatItTakes) {
    const std::string path = "/kel/v1/projects/";
    const std::string rest(2048 - path.size(), 'p');

    EXPECT_EQ(get(path + rest).status, 404);
}

TEST_F(RestLimits, RefusesALongerTarget) {
    EXPECT_EQ(get("/kel/v1/" + std::string(2048 - 7, 'p')).status, 414);
    EXPECT_EQ(get("/kel/v1/" + std::string(8000, 'p')).status, 414);
}

TEST_F(RestLimits, SurvivesAHundredThousandNestedObjects) {
    std::string body;
    for (int depth = 0; depth < 100'000; ++depth) {
        body += "{\"a\":";
    }

    EXPECT_EQ(put("/kel/v1/tracing", body).status, 400);
    EXPECT_TRUE(servesAFurtherClient());
}

class MalformedRequest : public RestLimits, public testing::WithParamInterface<std::string> {};

TEST_P(MalformedRequest, IsRefusedAndItsConnectionEnds) {
    RawClient client = connect();
    client.send(GetParam());

    EXPECT_THAT(client.receiveReply(), testing::AnyOf(StartsWith("HTTP/1.1 4"), IsEmpty()));
    EXPECT_TRUE(client.waitForClose());
    EXPECT_THAT(api->calls(), IsEmpty());
    EXPECT_TRUE(servesAFurtherClient());
}

INSTANTIATE_TEST_SUITE_P(
    Requests, MalformedRequest,
    testing::Values("\r\n\r\n", "rubbish\r\n\r\n", "GET\r\n\r\n", "GET /kel/v1/version\r\n\r\n",
                    "GET /kel/v1/version HTTP/9.9\r\n\r\n", "BREW /kel/v1/version HTTP/1.1\r\n\r\n",
                    "GET /kel/v1/version HTTP/1.1\r\n: no name\r\n\r\n",
                    "PUT /kel/v1/tracing HTTP/1.1\r\nContent-Length: many\r\n\r\n",
                    "PUT /kel/v1/tracing HTTP/1.1\r\nContent-Length: -1\r\n\r\n",
                    "PUT /kel/v1/tracing HTTP/1.1\r\nContent-Length: 2\r\n"
                    "Transfer-Encoding: chunked\r\n\r\n{}",
                    "PUT /kel/v1/tracing HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n",
                    "GET /kel/v1/version HTTP/1.1\r\nX: " + std::string(40'000, 'x') + "\r\n\r\n",
                    std::string(64, '\0')));

} // namespace

} // namespace Quarlen::Tests
