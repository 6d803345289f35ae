#include <algorithm>
#include <future>
#include <latch>
#include <vector>

#include "kel_server_lib/http/HttpServer.hpp"
#include "tests/kel_server_lib/rest/RestFixture.hpp"

namespace Quarlen::Tests {

namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::StartsWith;

/// More clients than there are places.
class RestCrowd : public RestFixture {
protected:
    static constexpr std::size_t places = 3;

    RestCrowd() {
        RestEnvironment small = environment();
        small.makeServer = [] {
            return std::make_unique<Rest::HttpServer>(
                Rest::HttpServerEnvironment{.workers = {.maxWorkers = places}});
        };
        rest = std::make_unique<RESTServer>(stopRequested, handler, true, small);
        start();
    }

    /// A connection that has got its reply and stays.
    RawClient connectIdle() const {
        RawClient client = connect();
        client.send(healthRequest);
        EXPECT_THAT(client.receiveReply(), HasSubstr("200 OK"));
        return client;
    }

    static bool isServed(RawClient& client) {
        return client.send(healthRequest) &&
               client.receiveReply().starts_with("HTTP/1.1 200 OK\r\n");
    }

    /// Requests that stay with their handlers until they are let go.
    void holdVersions() {
        api->during("getServerVersion", [this] {
            entered.count_down();
            open.wait();
        });
    }

    std::latch entered{places};
    std::promise<void> go;
    std::shared_future<void> open = go.get_future().share();
};

constexpr const char* versionRequest = "GET /kel/v1/version HTTP/1.1\r\nHost: localhost\r\n\r\n";

TEST_F(RestCrowd, EndsAnIdleConnectionForANewClient) {
    std::vector<RawClient> clients;
    for (std::size_t count = 0; count < places; ++count) {
        clients.push_back(connectIdle());
    }

    // A worker that has sent its reply may not wait for the next request yet.
    bool served = false;
    for (int attempt = 0; attempt < 500 && !served; ++attempt) {
        served = get("/kel/v1/health").status == 200;
    }
    EXPECT_TRUE(served);
    EXPECT_FALSE(std::all_of(clients.begin(), clients.end(), isServed));
}

TEST_F(RestCrowd, EndsASilentConnectionBeforeOneThatHasAsked) {
    RawClient asked = connectIdle();
    RawClient silent = connect();
    RawClient alsoAsked = connectIdle();

    EXPECT_EQ(get("/kel/v1/health").status, 200);

    EXPECT_TRUE(silent.waitForClose());
    EXPECT_TRUE(isServed(asked));
    EXPECT_TRUE(isServed(alsoAsked));
}

TEST_F(RestCrowd, NeverEndsAConnectionWhoseRequestIsBeingServed) {
    holdVersions();
    std::vector<RawClient> served;
    for (std::size_t count = 0; count < places; ++count) {
        served.push_back(connect());
        served.back().send(versionRequest);
    }
    entered.wait();

    EXPECT_TRUE(connect().waitForClose());

    go.set_value();
    for (RawClient& client : served) {
        EXPECT_THAT(client.receiveReply(), StartsWith("HTTP/1.1 200 OK\r\n"));
    }
}

TEST_F(RestCrowd, EndsThoseThatSendAByteNowAndThen) {
    std::vector<RawClient> slow;
    for (std::size_t count = 0; count < places; ++count) {
        slow.push_back(connect());
        slow.back().send("PUT /kel/v1/tracing HTTP/1.1\r\nContent-Length: 9\r\n\r\n{");
    }

    EXPECT_EQ(put("/kel/v1/stop").status, 200);
    EXPECT_TRUE(stopRequested);
}

using RestFullHouse = RestFixture;

TEST_F(RestFullHouse, LetsAStopThroughPastHundredsOfSilentConnections) {
    allowConnections(1024);
    start();
    std::vector<RawClient> silent;
    for (int count = 0; count < 600; ++count) {
        silent.push_back(connect());
    }

    EXPECT_EQ(put("/kel/v1/stop").body, "{\"status\":\"OK\"}");
    EXPECT_TRUE(stopRequested);
}

} // namespace

} // namespace Quarlen::Tests
