#include "kel_server_lib/http/HttpServer.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "tests/kel_server_lib/http/HttpFixture.hpp"

namespace Quarlen::Rest::Tests {

namespace {

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
    server = std::make_unique<HttpServer>(HttpServerEnvironment{.clients = {.accept = accept}});
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
    const std::string body = std::string().append(20'000'000, 'x');
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

TEST_F(HttpServerTest, ClosesTheConnectionOfAClientThatDoesNotTakeItsReply) {
    std::promise<void> ended;
    server->set_write_timeout(std::chrono::milliseconds(20));
    server->Get("/large", [&](const httplib::Request&, httplib::Response& response) {
        const std::shared_ptr<void> guard(nullptr, [&](void*) { ended.set_value(); });
        response.set_content_provider(
            20'000'000, "text/plain",
            [guard](std::size_t, std::size_t length, httplib::DataSink& sink) {
                const std::string piece(std::min<std::size_t>(length, 1'000'000), 'x');
                return sink.write(piece.data(), piece.size());
            });
    });
    start();
    RawClient client = connect();
    client.send("GET /large HTTP/1.1\r\nHost: localhost\r\n\r\n");

    // The library's own limit would be five seconds.
    EXPECT_EQ(ended.get_future().wait_for(std::chrono::seconds(4)), std::future_status::ready);
    EXPECT_TRUE(client.waitForClose());
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

TEST_F(HttpServerTest, GivesEachRequestOfAConnectionItsTimeAfresh) {
    const std::string body(100'000, 'x');
    server->set_read_timeout(std::chrono::seconds(1));
    server->Put("/body", [](const httplib::Request& request, httplib::Response& response) {
        response.set_content(std::to_string(request.body.size()), "text/plain");
    });
    start();
    RawClient client = connect();
    const std::string request = "PUT /body HTTP/1.1\r\nContent-Length: 100000\r\n\r\n" + body;
    client.send(request);
    ASSERT_TRUE(client.receiveReply().ends_with("\r\n\r\n100000"));
    ASSERT_FALSE(client.waitForClose(std::chrono::milliseconds(1100)));

    client.send(request);

    EXPECT_TRUE(client.receiveReply().ends_with("\r\n\r\n100000"));
}

/// Chunks of one byte: the body stays below its limit for long while its bytes never pause.
TEST_F(HttpServerTest, StopsAlthoughAClientSendsItsBodyWithoutAnEnd) {
    server->set_read_timeout(std::chrono::seconds(20));
    server->Put("/body", [](const httplib::Request&, httplib::Response&) {});
    start();
    RawClient client = connect();
    client.send("PUT /body HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n");
    const std::string chunk = "1;" + std::string(16'000, 'x') + "\r\n \r\n";
    // More than the system keeps on the way: the server is in the middle of the body.
    for (int count = 0; count < 1000; ++count) {
        ASSERT_TRUE(client.send(chunk));
    }
    auto sending = std::async(std::launch::async, [&] {
        while (client.send(chunk)) {
        }
    });
    const auto begin = std::chrono::steady_clock::now();
    stop();

    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    EXPECT_EQ(sending.wait_for(RawClient::patience), std::future_status::ready);
}

} // namespace

} // namespace Quarlen::Rest::Tests
