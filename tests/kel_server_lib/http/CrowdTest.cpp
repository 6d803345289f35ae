#include <algorithm>
#include <cstddef>
#include <future>
#include <latch>
#include <vector>

#include "tests/kel_server_lib/http/HttpFixture.hpp"

namespace Quarlen::Rest::Tests {

namespace {

using testing::StartsWith;

/// More clients than there are places.
class Crowd : public HttpFixture {
protected:
    static constexpr std::size_t places = 3;

    void SetUp() override {
        server =
            std::make_unique<HttpServer>(HttpServerEnvironment{.workers = {.maxWorkers = places}});
        server->Get("/held", [this](const httplib::Request&, httplib::Response&) {
            entered.count_down();
            open.wait();
        });
        start();
    }

    static bool isServed(RawClient& client) {
        return client.send(getRequest) && client.receiveReply().starts_with("HTTP/1.1 200 OK\r\n");
    }

    /// The requests for "/held" stay with their handler until they are let go.
    std::latch entered{places};
    std::promise<void> go;
    std::shared_future<void> open = go.get_future().share();
};

TEST_F(Crowd, EndsAnIdleConnectionForANewClient) {
    std::vector<RawClient> clients;
    for (std::size_t count = 0; count < places; ++count) {
        clients.push_back(connectIdle());
    }

    // A worker that has sent its reply may not wait for the next request yet.
    bool served = false;
    for (int attempt = 0; attempt < 500 && !served; ++attempt) {
        served = servesAFurtherClient();
    }
    EXPECT_TRUE(served);
    EXPECT_FALSE(std::all_of(clients.begin(), clients.end(), isServed));
}

TEST_F(Crowd, EndsASilentConnectionBeforeOneThatHasAsked) {
    RawClient asked = connectIdle();
    RawClient silent = connect();
    RawClient alsoAsked = connectIdle();

    EXPECT_TRUE(servesAFurtherClient());

    EXPECT_TRUE(silent.waitForClose());
    EXPECT_TRUE(isServed(asked));
    EXPECT_TRUE(isServed(alsoAsked));
}

TEST_F(Crowd, NeverEndsAConnectionWhoseRequestIsBeingServed) {
    std::vector<RawClient> served;
    for (std::size_t count = 0; count < places; ++count) {
        served.push_back(connect());
        served.back().send("GET /held HTTP/1.1\r\n\r\n");
    }
    entered.wait();

    EXPECT_TRUE(connect().waitForClose());

    go.set_value();
    for (RawClient& client : served) {
        EXPECT_THAT(client.receiveReply(), StartsWith("HTTP/1.1 200 OK\r\n"));
    }
}

TEST_F(Crowd, EndsThoseThatSendAByteNowAndThen) {
    std::vector<RawClient> slow;
    for (std::size_t count = 0; count < places; ++count) {
        slow.push_back(connect());
        slow.back().send("PUT / HTTP/1.1\r\nContent-Length: 9\r\n\r\n{");
    }

    EXPECT_TRUE(servesAFurtherClient());
}

using FullHouse = HttpFixture;

TEST_F(FullHouse, ServesAClientPastHundredsOfSilentConnections) {
    Quarlen::Tests::allowConnections(1024);
    start();
    constexpr std::size_t hundreds = 600;
    std::vector<RawClient> silent;
    silent.reserve(hundreds);
    while (silent.size() < hundreds) {
        silent.push_back(connect());
    }

    EXPECT_TRUE(servesAFurtherClient());
}

} // namespace

} // namespace Quarlen::Rest::Tests
