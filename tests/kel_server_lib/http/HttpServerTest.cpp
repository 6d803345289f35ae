#include "kel_server_lib/http/HttpServer.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "tests/kel_server_lib/http/HttpFixture.hpp"

namespace Quarlen::Rest::Tests {

namespace {

using Clock = std::chrono::steady_clock;
using testing::HasSubstr;
using testing::Not;

using HttpServerTest = HttpFixture;

TEST_F(HttpServerTest, SendsNothingOfAReplyThatFailsAfterItsBodyWasSet) {
    server->Get("/half", [](const httplib::Request&, httplib::Response& response) {
        response.set_header("X-Half", "told");
        response.set_content("half a reply", "text/plain");
        throw std::runtime_error("secret");
    });
    start();
    RawClient client = connect();
    client.send("GET /half HTTP/1.1\r\nHost: localhost\r\n\r\n");
    const std::string reply = client.receiveReply();

    EXPECT_THAT(reply, testing::StartsWith("HTTP/1.1 500 Internal Server Error\r\n"));
    EXPECT_THAT(reply, HasSubstr("Content-Length: 0\r\n"));
    EXPECT_THAT(reply, Not(HasSubstr("half")));
    EXPECT_THAT(reply, Not(HasSubstr("X-Half")));
    EXPECT_THAT(reply, Not(HasSubstr("secret")));
}

TEST_F(HttpServerTest, SendsEachReplyAtOnce) {
    std::atomic<std::intptr_t> connection{Platform::noSocket};
    const auto accept = [&](std::intptr_t listening) {
        const Platform::Accepted accepted = Platform::acceptConnection(listening);
        if (accepted.connection != Platform::noSocket) {
            connection = accepted.connection;
        }
        return accepted;
    };
    server = patientServer({.clients = {.accept = accept}});
    start();
    const RawClient client = connectIdle();

    int on = 0;
    socklen_t size = sizeof on;
    ::getsockopt(static_cast<socket_t>(connection.load()), IPPROTO_TCP, TCP_NODELAY,
                 reinterpret_cast<char*>(&on), &size);
    EXPECT_NE(on, 0);
    stop();
}

TEST_F(HttpServerTest, SendsALargeReplyInWholeToAClientThatTakesItLate) {
    const std::string body = std::string().append(moreThanTheSystemKeeps, 'x');
    server = patientServer({.clients = {.accept = acceptWithSmallBuffer}});
    std::promise<void> answered;
    server->Get("/large", [&](const httplib::Request&, httplib::Response& response) {
        response.set_content(body, "text/plain");
        answered.set_value();
    });
    start();
    RawClient client = connect();
    client.send("GET /large HTTP/1.1\r\nHost: localhost\r\n\r\n");
    answered.get_future().get();

    EXPECT_TRUE(client.receiveReply().ends_with("\r\n\r\n" + body));
}

class UntakenReply : public HttpFixture {
protected:
    void SetUp() override {
        server = std::make_unique<HttpServer>(
            HttpServerEnvironment{.clients = {.accept = acceptWithSmallBuffer}});
        server->set_write_timeout(std::chrono::milliseconds(20));
        server->Get("/large", [this](const httplib::Request&, httplib::Response& response) {
            const std::shared_ptr<void> guard(nullptr,
                                              [this](void*) { ++ended, ended.notify_all(); });
            response.set_content_provider(
                moreThanTheSystemKeeps, "text/plain",
                [guard](std::size_t, std::size_t length, httplib::DataSink& sink) {
                    const std::string piece(std::min<std::size_t>(length, 100'000), 'x');
                    return sink.write(piece.data(), piece.size());
                });
        });
        start();
    }

    /// From a request until its reply is given up.
    Clock::duration timeOfAReply() {
        const auto begin = Clock::now();
        const int former = ended;
        RawClient client = connect();
        client.send("GET /large HTTP/1.1\r\nHost: localhost\r\n\r\n");
        ended.wait(former);
        const auto time = Clock::now() - begin;
        EXPECT_TRUE(client.waitForClose());
        return time;
    }

    std::atomic<int> ended{0};
};

/// The library's own limit would be five seconds. A busy machine may take as long, but not each
/// time.
TEST_F(UntakenReply, ClosesItsConnection) {
    constexpr std::chrono::seconds limitOfTheLibrary{5};
    auto shortest = timeOfAReply();
    for (int attempt = 1; attempt < 5 && shortest >= limitOfTheLibrary; ++attempt) {
        shortest = std::min(shortest, timeOfAReply());
    }

    EXPECT_LT(shortest, limitOfTheLibrary);
}

TEST_F(HttpServerTest, ServesUntilItIsStopped) {
    EXPECT_FALSE(server->isServing());
    std::atomic<bool> servesMeanwhile{false};
    server->Get("/", [&](const httplib::Request&, httplib::Response&) {
        servesMeanwhile = server->isServing();
    });
    start();
    RawClient client = connect();
    client.send("GET / HTTP/1.1\r\n\r\n");
    ASSERT_THAT(client.receiveReply(), HasSubstr("200 OK"));
    EXPECT_TRUE(servesMeanwhile);

    stop();

    EXPECT_FALSE(server->isServing());
}

class TimeOfRequests : public HttpFixture {
protected:
    /// True when two requests on one connection are answered that lasts longer than a request may.
    bool isAfreshForEach(std::chrono::milliseconds limit) {
        server = patientServer();
        server->set_read_timeout(limit);
        start();
        RawClient client = connect();
        const std::string request =
            "PUT / HTTP/1.1\r\nContent-Length: 100000\r\n\r\n" + std::string(100'000, 'x');
        const auto isAnswered = [&] {
            return client.send(request) && client.receiveReply().ends_with("\r\n\r\nPUT / 100000");
        };
        const bool result = isAnswered() &&
                            !client.waitForClose(limit + std::chrono::milliseconds(100)) &&
                            isAnswered();
        stop();
        return result;
    }
};

/// A busy machine may keep a request waiting for longer than a short limit.
TEST_F(TimeOfRequests, BeginsAfreshForEachOfAConnection) {
    bool isAfresh = false;
    for (int limit = 500; limit <= 16'000 && !isAfresh; limit *= 2) {
        isAfresh = isAfreshForEach(std::chrono::milliseconds(limit));
    }

    EXPECT_TRUE(isAfresh);
}

/// Chunks of one byte: the body stays below its limit for long while its bytes never pause.
class EndlessBody : public HttpFixture {
protected:
    /// Once its first bytes have reached the handler.
    void startSending() {
        server->Put("/body", [&](const httplib::Request&, httplib::Response&,
                                 const httplib::ContentReader& read) {
            bool isFirst = true;
            read([&](const char*, std::size_t) {
                if (std::exchange(isFirst, false)) {
                    arrived.set_value();
                }
                return true;
            });
        });
        start();
        client.emplace(connect());
        client->send("PUT /body HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n");
        sending = std::async(std::launch::async, [this] {
            const std::string chunk = "1;" + std::string(16'000, 'x') + "\r\n \r\n";
            while (client->send(chunk)) {
            }
        });
        arrived.get_future().get();
    }

    std::promise<void> arrived;
    std::optional<RawClient> client;
    std::future<void> sending;
};

TEST_F(EndlessBody, DoesNotKeepTheServerFromStopping) {
    startSending();
    auto stopped = std::async(std::launch::async, [this] { stop(); });

    EXPECT_EQ(stopped.wait_for(RawClient::patience), std::future_status::ready);
    EXPECT_EQ(sending.wait_for(RawClient::patience), std::future_status::ready);
    client->stopSending();
}

} // namespace

} // namespace Quarlen::Rest::Tests
