#include <algorithm>
#include <chrono>
#include <cstddef>
#include <future>
#include <latch>
#include <vector>

#include "platform/Clock.hpp"
#include "tests/kel_server_lib/http/HttpFixture.hpp"

namespace Quarlen::Rest::Tests {

namespace {

using std::chrono::milliseconds;
using testing::StartsWith;

/// More clients than there are places.
class Crowd : public HttpFixture {
protected:
    static constexpr std::size_t places = 3;

    void SetUp() override { startServer(); }

    void startServer() {
        server = patientServer({.workers = {.maxWorkers = places}});
        server->Get("/held", [this](const httplib::Request&, httplib::Response&) {
            entered.count_down();
            open.wait();
        });
        start();
    }

    static bool isServed(RawClient& client) {
        return client.send(getRequest) && client.receiveReply().starts_with("HTTP/1.1 200 OK\r\n");
    }

    /// True when the one of three connections that has never asked makes room for a further client.
    /// Its worker needs a moment to begin with it; before, it does not make room first.
    bool theSilentOneMakesRoomAfter(milliseconds moment) {
        RawClient asked = connectIdle();
        RawClient silent = connect();
        RawClient alsoAsked = connectIdle();
        Platform::systemClock().sleepFor(moment);

        return servesAFurtherClient() && isServed(asked) && isServed(alsoAsked) &&
               silent.waitForClose();
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
    EXPECT_TRUE(eventuallyServesAFurtherClient());
    EXPECT_FALSE(std::all_of(clients.begin(), clients.end(), isServed));
}

TEST_F(Crowd, EndsASilentConnectionBeforeOneThatHasAsked) {
    constexpr milliseconds longest{16'000};
    milliseconds moment{1};
    while (!theSilentOneMakesRoomAfter(moment) && moment < longest) {
        moment *= 2;
        stop();
        startServer();
    }

    EXPECT_LT(moment, longest);
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
