#include "tests/kel_server_lib/http/HttpFixture.hpp"

#include <chrono>
#include <stdexcept>
#include <utility>

namespace Quarlen::Rest::Tests {

namespace {

/// A port that is chosen by binding it, so that no other process can have it meanwhile. A test
/// without a server would wait for what never comes.
std::uint16_t anyPortOf(HttpServer& server) {
    const int port = server.bind_to_any_port("127.0.0.1");
    if (port < 0) {
        throw std::runtime_error("the server cannot be bound to any port");
    }
    return static_cast<std::uint16_t>(port);
}

} // namespace

void HttpFixture::TearDown() {
    if (listener.joinable()) {
        stop();
    }
}

void HttpFixture::start() {
    const auto answer = [this](const httplib::Request& request, httplib::Response& response) {
        ++handled;
        response.set_content(request.method + " " + request.path + " " +
                                 std::to_string(request.body.size()),
                             "text/plain");
    };
    server->Get(".*", answer);
    server->Put(".*", answer);
    port = anyPortOf(*server);
    ended = false;
    listener = std::thread([this] {
        wasStopped = server->serve();
        ended = true;
    });
    while (!server->isServing() && !ended) {
        std::this_thread::yield();
    }
}

bool HttpFixture::stop() {
    server->stopServing();
    return waitForEnd();
}

bool HttpFixture::waitForEnd() {
    listener.join();
    return wasStopped;
}

HttpFixture::HttpReply HttpFixture::get(const std::string& path) const {
    return Quarlen::Tests::request(port, "GET", path);
}

HttpFixture::HttpReply HttpFixture::put(const std::string& path, const std::string& body) const {
    return Quarlen::Tests::request(port, "PUT", path, body);
}

bool HttpFixture::eventuallyServesAFurtherClient() const {
    const auto deadline = std::chrono::steady_clock::now() + RawClient::patience;
    while (!servesAFurtherClient()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

HttpFixture::RawClient HttpFixture::connectIdle() const {
    RawClient client = connect();
    client.send(getRequest);
    EXPECT_THAT(client.receiveReply(), testing::HasSubstr("200 OK"));
    return client;
}

} // namespace Quarlen::Rest::Tests
