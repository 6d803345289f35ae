#include <future>
#include <latch>
#include <system_error>
#include <vector>

#include "tests/kel_server_lib/rest/RestFixture.hpp"

namespace Quarlen::Tests {

namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::Not;

constexpr milliseconds maxStop{2000};

/// The end of the server while clients still want something of it.
class RestStop : public RestFixture {
protected:
    void SetUp() override { start(); }

    /// How long `stop` takes.
    milliseconds stop() {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_TRUE(rest->stop());
        return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - begin);
    }

    [[nodiscard]] bool takesClients() const {
        try {
            static_cast<void>(connect());
            return true;
        } catch (const std::system_error&) {
            return false;
        }
    }
};

TEST_F(RestStop, EndsAHundredIdleConnections) {
    std::vector<RawClient> clients;
    for (int count = 0; count < 100; ++count) {
        clients.push_back(connect());
        clients.back().send(healthRequest);
        ASSERT_THAT(clients.back().receiveReply(), HasSubstr("200 OK"));
    }

    EXPECT_LT(stop(), maxStop);

    for (RawClient& client : clients) {
        EXPECT_TRUE(client.waitForClose());
    }
}

TEST_F(RestStop, EndsConnectionsThatHaveSentNothingAndHalfARequest) {
    RawClient silent = connect();
    RawClient halfHeader = connect();
    halfHeader.send("GET /kel/v1/hea");
    RawClient halfBody = connect();
    halfBody.send("PUT /kel/v1/tracing HTTP/1.1\r\nContent-Length: 50\r\n\r\n{");
    ASSERT_EQ(get("/kel/v1/health").status, 200);

    EXPECT_LT(stop(), maxStop);
}

TEST_F(RestStop, EndsUnderFullLoad) {
    std::atomic<bool> ended{false};
    std::latch served(16);
    std::vector<std::thread> clients;
    clients.reserve(16);
    for (int count = 0; count < 16; ++count) {
        clients.emplace_back([&] {
            RawClient client = connect();
            client.send(healthRequest);
            EXPECT_THAT(client.receiveReply(), HasSubstr("200 OK"));
            served.count_down();
            while (!ended && client.send(healthRequest) && !client.receiveReply().empty()) {
            }
        });
    }
    served.wait();

    EXPECT_LT(stop(), maxStop);

    ended = true;
    for (std::thread& client : clients) {
        client.join();
    }
}

TEST_F(RestStop, EndsAClientThatSendsWithoutReadingAnything) {
    RawClient client = connect();
    std::string requests;
    for (int count = 0; count < 90; ++count) {
        requests += healthRequest;
    }
    client.send(requests);
    ASSERT_THAT(client.receiveReply(), HasSubstr("200 OK"));

    EXPECT_LT(stop(), maxStop);
}

TEST_F(RestStop, EndsAClientThatDoesNotTakeItsLargeReply) {
    api->projectDetails->vehicleInformations = {L"A"};
    auto object = std::make_shared<Kel_cpp::ProjectObject>();
    object->name = std::wstring().append(12'000'000, L'x');
    api->projectObjects.push_back(object);
    RawClient client = connect();
    client.send("GET /kel/v1/projects/P1/otx HTTP/1.1\r\nHost: localhost\r\n\r\n");
    ASSERT_TRUE(client.waitForData());

    EXPECT_LT(stop(), maxStop);
}

TEST_F(RestStop, AnswersTheRequestThatIsUnderWayAndSaysThatTheConnectionEnds) {
    std::promise<void> entered;
    std::promise<void> go;
    api->during("getServerVersion", [&] {
        entered.set_value();
        go.get_future().wait();
    });
    RawClient client = connect();
    client.send("GET /kel/v1/version HTTP/1.1\r\nHost: localhost\r\n\r\n");
    entered.get_future().wait();
    auto stopping = std::async(std::launch::async, [this] { return rest->stop(); });
    while (takesClients()) {
    }
    go.set_value();

    const std::string reply = client.receiveReply();
    EXPECT_THAT(reply, HasSubstr("200 OK"));
    EXPECT_THAT(reply, HasSubstr("\r\nConnection: close\r\n"));
    EXPECT_THAT(reply, Not(HasSubstr("Keep-Alive")));
    EXPECT_TRUE(stopping.get());
}

TEST_F(RestStop, TakesNoFurtherClients) {
    stop();

    EXPECT_FALSE(takesClients());
}

} // namespace

} // namespace Quarlen::Tests
