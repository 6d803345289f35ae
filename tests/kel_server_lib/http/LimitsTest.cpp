#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "tests/kel_server_lib/http/HttpFixture.hpp"

namespace Quarlen::Rest::Tests {

namespace {

using std::chrono::milliseconds;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// What no polite client sends, and more clients than usual.
class Limits : public HttpFixture {
protected:
    void SetUp() override {
        Quarlen::Tests::allowConnections(1024);
        start();
    }

    static std::string putRequest(const std::string& path, const std::string& headers,
                                  const std::string& body = {}) {
        return "PUT " + path + " HTTP/1.1\r\nHost: localhost\r\n" + headers + "\r\n" + body;
    }

    std::vector<RawClient> connect(std::size_t count) const {
        std::vector<RawClient> clients;
        clients.reserve(count);
        while (clients.size() < count) {
            clients.push_back(HttpFixture::connect());
        }
        return clients;
    }
    using HttpFixture::connect;
};

TEST_F(Limits, ServesAFurtherClientBesideFiftyIdleConnections) {
    const auto idle = connect(50);

    EXPECT_TRUE(servesAFurtherClient());
}

TEST_F(Limits, ServesClientsThatArriveTogether) {
    auto clients = connect(40);
    for (RawClient& client : clients) {
        client.send(getRequest);
    }

    for (RawClient& client : clients) {
        EXPECT_THAT(client.receiveReply(), StartsWith("HTTP/1.1 200 OK\r\n"));
    }
}

TEST_F(Limits, ServesNewClientsOnceOthersHaveGone) {
    {
        auto clients = connect(520);
        // The last one: those that came first have made room for it.
        clients.back().send(getRequest);
        ASSERT_THAT(clients.back().receiveReply(), HasSubstr("200 OK"));
    }

    EXPECT_TRUE(eventuallyServesAFurtherClient());
}

/// With the product's own limits of time.
class TimeLimits : public Limits {
protected:
    void SetUp() override {
        server = std::make_unique<HttpServer>();
        Limits::SetUp();
    }
};

class SlowClient : public TimeLimits, public testing::WithParamInterface<const char*> {};

TEST_P(SlowClient, LosesItsConnectionAlthoughItKeepsSending) {
    RawClient client = connect();
    client.send(GetParam());
    const auto begin = std::chrono::steady_clock::now();

    while (client.send("a") && !client.waitForClose(milliseconds(200))) {
        ASSERT_LT(std::chrono::steady_clock::now() - begin, RawClient::patience);
    }

    EXPECT_TRUE(servesAFurtherClient());
}

INSTANTIATE_TEST_SUITE_P(Requests, SlowClient,
                         testing::Values("GET /kel", "GET / HTTP/1.1\r\nX-Long: ",
                                         "PUT / HTTP/1.1\r\nContent-Length: 100000"
                                         "\r\n\r\n{"));

TEST_F(Limits, AnswersAPutWithoutALengthAtOnce) {
    RawClient client = connect();
    client.send(putRequest("/empty", ""));

    EXPECT_THAT(client.receiveReply(), EndsWith("PUT /empty 0"));
}

TEST_F(Limits, DoesNotTakeTheNextRequestForTheBodyOfAPutWithoutALength) {
    RawClient client = connect();
    client.send(putRequest("/empty", ""));
    ASSERT_THAT(client.receiveReply(), EndsWith("PUT /empty 0"));
    client.send("GET /next HTTP/1.1\r\nHost: localhost\r\n\r\n");

    EXPECT_THAT(client.receiveReply(), EndsWith("GET /next 0"));
}

TEST_F(Limits, AnswersRequestsThatWereSentAheadInTheirOrder) {
    RawClient client = connect();
    client.send(putRequest("/1", "") + putRequest("/2", "Content-Length: 4\r\n", "body") +
                "GET /3 HTTP/1.1\r\nHost: localhost\r\n\r\n" + getRequest);

    EXPECT_THAT(client.receiveReply(), EndsWith("PUT /1 0"));
    EXPECT_THAT(client.receiveReply(), EndsWith("PUT /2 4"));
    EXPECT_THAT(client.receiveReply(), EndsWith("GET /3 0"));
    EXPECT_THAT(client.receiveReply(), EndsWith("GET / 0"));
    EXPECT_EQ(handled, 4);
}

TEST_F(Limits, TakesABodyInChunks) {
    RawClient client = connect();
    client.send(putRequest("/chunks", "Transfer-Encoding: chunked\r\n",
                           "7\r\n1234567\r\n5\r\n89012\r\n0\r\n\r\n"));

    EXPECT_THAT(client.receiveReply(), EndsWith("PUT /chunks 12"));
}

TEST_F(Limits, TakesBodiesInChunksFromManyClientsAtOnce) {
    std::atomic<int> answered{0};
    {
        std::vector<std::jthread> clients;
        clients.reserve(24);
        for (int count = 0; count < 24; ++count) {
            clients.emplace_back([&] {
                RawClient client = connect();
                client.send(putRequest("/", "Transfer-Encoding: chunked\r\n",
                                       "1\r\n[\r\n1\r\n]\r\n0\r\n\r\n"));
                answered += client.receiveReply().starts_with("HTTP/1.1 200 OK\r\n") ? 1 : 0;
            });
        }
    }

    EXPECT_EQ(answered, 24);
    EXPECT_TRUE(servesAFurtherClient());
}

TEST_F(Limits, RefusesATransferEncodingThatItDoesNotKnow) {
    RawClient client = connect();
    client.send(putRequest("/", "Transfer-Encoding: gzip\r\n", getRequest));

    EXPECT_THAT(client.receiveReply(), StartsWith("HTTP/1.1 501 Not Implemented\r\n"));
    EXPECT_TRUE(client.waitForClose());
    EXPECT_EQ(handled, 0);
}

constexpr std::size_t mebibyte = std::size_t{1024} * 1024;

TEST_F(Limits, TakesABodyOfOneMebibyte) {
    const HttpReply reply = put("/", std::string(mebibyte, ' '));

    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.body, "PUT / 1048576");
}

TEST_F(Limits, RefusesALargerBody) {
    const HttpReply reply = put("/", std::string(mebibyte + 1, ' '));

    EXPECT_EQ(reply.status, 413);
    EXPECT_THAT(reply.body, IsEmpty());
    EXPECT_EQ(handled, 0);
}

TEST_F(Limits, RefusesALargerBodyInChunks) {
    RawClient client = connect();
    client.send(putRequest("/", "Transfer-Encoding: chunked\r\n", "100001\r\n"));
    client.send(std::string(mebibyte + 1, ' '));
    client.send("\r\n0\r\n\r\n");

    EXPECT_THAT(client.receiveReply(), StartsWith("HTTP/1.1 413 "));
}

TEST_F(Limits, TellAClientThatIsStillSendingThatItsBodyIsTooLarge) {
    const std::size_t length = 20 * mebibyte;
    RawClient client = connect();
    client.send("PUT / HTTP/1.1\r\nHost: localhost\r\nContent-Length: " + std::to_string(length) +
                "\r\n\r\n");
    EXPECT_TRUE(client.send(std::string(length, ' ')));

    EXPECT_THAT(client.receiveReply(), StartsWith("HTTP/1.1 413 "));
    EXPECT_TRUE(client.waitForClose());
}

class NamedBody : public Limits, public testing::WithParamInterface<const char*> {};

TEST_P(NamedBody, ReachesItsHandlerWhateverTheClientCallsIt) {
    RawClient client = connect();
    client.send(putRequest("/", std::string(GetParam()) + "\r\nContent-Length: 20000\r\n",
                           std::string(20'000, 'x')));

    EXPECT_THAT(client.receiveReply(), EndsWith("PUT / 20000"));
}

INSTANTIATE_TEST_SUITE_P(Headers, NamedBody,
                         testing::Values("Content-Type: application/json; charset=utf-8",
                                         "Content-Type: application/x-www-form-urlencoded",
                                         "Content-Type: multipart/form-data; boundary=x",
                                         "Content-Encoding: gzip", "Content-Encoding: br"));

TEST_F(Limits, EndsAConnectionWithItsHundredthReply) {
    RawClient client = connect();
    for (int count = 1; count < 100; ++count) {
        client.send(getRequest);
        ASSERT_THAT(client.receiveReply(), HasSubstr("\r\nKeep-Alive: timeout=3600, max=100\r\n"));
    }
    client.send(getRequest);

    EXPECT_THAT(client.receiveReply(), HasSubstr("\r\nConnection: close\r\n"));
    EXPECT_TRUE(client.waitForClose());
}

TEST_F(Limits, TakesATargetOf2048Bytes) {
    EXPECT_EQ(get("/" + std::string(2047, 'p')).status, 200);
}

TEST_F(Limits, RefusesALongerTarget) {
    EXPECT_EQ(get("/" + std::string(2048, 'p')).status, 414);
    EXPECT_EQ(get("/" + std::string(8000, 'p')).status, 414);
}

class MalformedRequest : public TimeLimits, public testing::WithParamInterface<std::string> {};

TEST_P(MalformedRequest, IsRefusedAndItsConnectionEnds) {
    RawClient client = connect();
    client.send(GetParam());

    EXPECT_THAT(client.receiveReply(), testing::AnyOf(StartsWith("HTTP/1.1 4"), IsEmpty()));
    EXPECT_TRUE(client.waitForClose());
    EXPECT_EQ(handled, 0);
    EXPECT_TRUE(servesAFurtherClient());
}

INSTANTIATE_TEST_SUITE_P(
    Requests, MalformedRequest,
    testing::Values("\r\n\r\n", "rubbish\r\n\r\n", "GET\r\n\r\n", "GET /\r\n\r\n",
                    "GET / HTTP/9.9\r\n\r\n", "BREW / HTTP/1.1\r\n\r\n",
                    "GET / HTTP/1.1\r\n: no name\r\n\r\n",
                    "PUT / HTTP/1.1\r\nContent-Length: many\r\n\r\n",
                    "PUT / HTTP/1.1\r\nContent-Length: -1\r\n\r\n",
                    "PUT / HTTP/1.1\r\nContent-Length: 2\r\n"
                    "Transfer-Encoding: chunked\r\n\r\n{}",
                    "PUT / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n",
                    "GET / HTTP/1.1\r\nX: " + std::string(40'000, 'x') + "\r\n\r\n",
                    std::string(64, '\0')));

} // namespace

} // namespace Quarlen::Rest::Tests
