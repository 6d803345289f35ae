#include "kel_server_lib/rest/HttpServer.hpp"

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "tests/kel_server_lib/rest/RestFixture.hpp"

namespace Quarlen::Tests {

namespace {

using testing::HasSubstr;
using testing::Not;

/// The HTTP server without the API.
class HttpServerTest : public testing::Test {
protected:
    ~HttpServerTest() override {
        server.stopServing();
        if (listener.joinable()) {
            listener.join();
        }
    }

    void start() {
        ASSERT_TRUE(server.bind_to_port("127.0.0.1", port));
        listener = std::thread([this] { server.listen_after_bind(); });
        server.wait_until_ready();
    }

    /// Tells how each connection is set up and serves none.
    class Witness : public Rest::HttpServer {
    public:
        std::promise<int> noDelay;

    private:
        bool process_and_close_socket(socket_t socket) override {
            int on = 0;
            socklen_t size = sizeof on;
            ::getsockopt(socket, IPPROTO_TCP, TCP_NODELAY, reinterpret_cast<char*>(&on), &size);
            httplib::detail::close_socket(socket);
            noDelay.set_value(on);
            return true;
        }
    };

    const std::uint16_t port = freePort();
    Rest::HttpServer server;
    std::thread listener;
};

TEST_F(HttpServerTest, SendsNothingOfAReplyThatFailsAfterItsBodyWasSet) {
    server.Get("/half", [](const httplib::Request&, httplib::Response& response) {
        response.set_header("X-Half", "told");
        response.set_content("half a reply", "text/plain");
        throw std::runtime_error("secret");
    });
    start();
    RawClient client(port);
    client.send("GET /half HTTP/1.1\r\nHost: x\r\n\r\n");
    const std::string reply = client.receiveReply();

    EXPECT_THAT(reply, testing::StartsWith("HTTP/1.1 500 Internal Server Error\r\n"));
    EXPECT_THAT(reply, HasSubstr("Content-Length: 0\r\n"));
    EXPECT_THAT(reply, Not(HasSubstr("half")));
    EXPECT_THAT(reply, Not(HasSubstr("X-Half")));
    EXPECT_THAT(reply, Not(HasSubstr("secret")));
}

TEST_F(HttpServerTest, SendsEachReplyAtOnce) {
    Witness witness;
    ASSERT_TRUE(witness.bind_to_port("127.0.0.1", port));
    listener = std::thread([&] { witness.listen_after_bind(); });
    RawClient client(port);

    EXPECT_NE(witness.noDelay.get_future().get(), 0);

    witness.stopServing();
    listener.join();
}

TEST_F(HttpServerTest, SendsALargeReplyInWholeToAClientThatTakesItLate) {
    const std::string body(20'000'000, 'x');
    std::promise<void> answered;
    server.Get("/large", [&](const httplib::Request&, httplib::Response& response) {
        response.set_content(body, "text/plain");
        answered.set_value();
    });
    start();
    RawClient client(port);
    client.send("GET /large HTTP/1.1\r\nHost: x\r\n\r\n");
    answered.get_future().get();

    EXPECT_TRUE(client.receiveReply().ends_with("\r\n\r\n" + body));
}

TEST_F(HttpServerTest, ClosesTheConnectionOfAClientThatDoesNotTakeItsReply) {
    std::promise<void> ended;
    server.set_write_timeout(std::chrono::milliseconds(20));
    server.Get("/large", [&](const httplib::Request&, httplib::Response& response) {
        const std::shared_ptr<void> guard(nullptr, [&](void*) { ended.set_value(); });
        response.set_content_provider(
            20'000'000, "text/plain",
            [guard](std::size_t, std::size_t length, httplib::DataSink& sink) {
                const std::string piece(std::min<std::size_t>(length, 1'000'000), 'x');
                return sink.write(piece.data(), piece.size());
            });
    });
    start();
    RawClient client(port);
    client.send("GET /large HTTP/1.1\r\nHost: x\r\n\r\n");

    // The library's own limit would be five seconds.
    EXPECT_EQ(ended.get_future().wait_for(std::chrono::seconds(4)), std::future_status::ready);
    EXPECT_TRUE(client.waitForClose());
}

/// Chunks of one byte: the body stays below its limit for long while its bytes never pause.
TEST_F(HttpServerTest, StopsAlthoughAClientSendsItsBodyWithoutAnEnd) {
    server.set_read_timeout(std::chrono::seconds(20));
    server.Put("/body", [](const httplib::Request&, httplib::Response&) {});
    start();
    RawClient client(port);
    client.send("PUT /body HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n");
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
    server.stopServing();
    listener.join();

    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    EXPECT_EQ(sending.wait_for(RawClient::patience), std::future_status::ready);
}

} // namespace

} // namespace Quarlen::Tests
