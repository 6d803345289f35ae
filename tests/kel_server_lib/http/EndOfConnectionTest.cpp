#include <algorithm>
#include <cstddef>
#include <future>

#include "platform/ListeningSocket.hpp"
#include "tests/kel_server_lib/http/HttpFixture.hpp"

namespace Quarlen::Rest::Tests {

namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;

constexpr const char* lastRequest =
    "GET / HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n";
constexpr std::chrono::hours longTime{1};
constexpr milliseconds aWhile{300};

/// What happens to a connection after its last reply.
class EndOfConnection : public HttpFixture {
protected:
    void startWithReadingTime(milliseconds time) {
        makeWithReadingTime(time);
        start();
    }
    void makeWithReadingTime(milliseconds time) {
        server = std::make_unique<HttpServer>(
            HttpServerEnvironment{.readingTime = [this, time](std::size_t bytes) {
                if (!std::exchange(isAsked, true)) {
                    repliedBytes.set_value(bytes);
                }
                return time;
            }});
    }
    RawClient clientWithItsLastReply() {
        RawClient client = connect();
        client.send(lastRequest);
        lastReply = client.receiveReply();
        EXPECT_THAT(lastReply, HasSubstr("200 OK"));
        return client;
    }

    std::string lastReply;
    std::promise<std::size_t> repliedBytes;
    bool isAsked = false;
};

TEST_F(EndOfConnection, IsAResetForAClientThatNeverEndsItsSide) {
    std::promise<void> hasRead;
    server = std::make_unique<HttpServer>(HttpServerEnvironment{.readingTime = [&](std::size_t) {
        hasRead.get_future().wait();
        return milliseconds(50);
    }});
    start();
    RawClient client = clientWithItsLastReply();
    EXPECT_TRUE(client.waitForClose());
    EXPECT_FALSE(client.waitForReset(milliseconds::zero()));

    hasRead.set_value();

    EXPECT_TRUE(client.waitForReset());
}

TEST_F(EndOfConnection, IsNoResetForAClientThatEndsItsSide) {
    startWithReadingTime(longTime);
    RawClient client = clientWithItsLastReply();
    ASSERT_TRUE(client.waitForClose());

    client.stopSending();

    EXPECT_FALSE(client.waitForReset(aWhile));
}

TEST_F(EndOfConnection, LeavesAClientTheTimeToReadItsReply) {
    startWithReadingTime(longTime);
    RawClient client = clientWithItsLastReply();
    ASSERT_TRUE(client.waitForClose());

    EXPECT_FALSE(client.waitForReset(aWhile));
}

TEST_F(EndOfConnection, CountsTheBytesOfTheLastReply) {
    startWithReadingTime(longTime);
    RawClient client = connectIdle();
    client.send(lastRequest);
    const std::string reply = client.receiveReply();

    std::future<std::size_t> bytes = repliedBytes.get_future();
    ASSERT_EQ(bytes.wait_for(RawClient::patience), std::future_status::ready);
    EXPECT_EQ(bytes.get(), reply.size());
}

TEST_F(EndOfConnection, IsAResetAtAStopWhereItWouldKeepTheAddress) {
    startWithReadingTime(longTime);
    RawClient client = clientWithItsLastReply();
    ASSERT_TRUE(client.waitForClose());

    stop();

    const bool isReset = Platform::oldConnectionsKeepTheAddress();
    EXPECT_EQ(client.waitForReset(isReset ? RawClient::patience : aWhile), isReset);
}

TEST_F(EndOfConnection, TakesNoLongReplyFromAClientAtAStop) {
    makeWithReadingTime(longTime);
    server->Get("/long", [](const httplib::Request&, httplib::Response& response) {
        response.set_content(std::string(100'000, 'x'), "text/plain");
        response.set_header("Connection", "close");
    });
    start();
    RawClient client = connect();
    client.send("GET /long HTTP/1.1\r\nHost: localhost\r\n\r\n");
    repliedBytes.get_future().wait();

    stop();

    EXPECT_THAT(client.receiveReply(), testing::EndsWith(std::string(100'000, 'x')));
    EXPECT_FALSE(client.waitForReset(aWhile));
}

} // namespace

} // namespace Quarlen::Rest::Tests
