#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <future>
#include <latch>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "tests/kel_server_lib/http/PatientServer.hpp"
#include "tests/kel_server_lib/rest/RestFixture.hpp"

namespace Quarlen::Tests {

namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::Not;

/// How long the servers wait for their clients unless they are stopped.
constexpr std::chrono::minutes patience{1};

/// Clients that take one reply after the other, each on a thread of its own, as long as they are
/// served.
class BusyClients {
public:
    BusyClients(std::size_t count, std::uint16_t port)
        : served(static_cast<std::ptrdiff_t>(count)) {
        for (std::size_t started = 0; started < count; ++started) {
            clients.emplace_back([this, port] { ask(port); });
        }
    }
    BusyClients(const BusyClients&) = delete;
    BusyClients& operator=(const BusyClients&) = delete;
    ~BusyClients() {
        ended = true;
        for (std::thread& client : clients) {
            client.join();
        }
    }

    void waitUntilServed() const { served.wait(); }

private:
    void ask(std::uint16_t port) {
        RawClient client(port);
        client.send(healthRequest);
        EXPECT_THAT(client.receiveReply(), HasSubstr("200 OK"));
        served.count_down();
        while (!ended && client.send(healthRequest) && !client.receiveReply().empty()) {
        }
    }

    std::atomic<bool> ended{false};
    std::latch served;
    std::vector<std::thread> clients;
};

/// The end of the server while clients still want something of it.
class RestStop : public RestFixture {
protected:
    void SetUp() override { start(); }

    /// Gives servers the clients that a function makes and returns those whose server has stopped
    /// soon, which is two seconds. A busy machine may take more, but not until the clients' time is
    /// over.
    template <class MakeClients>
    auto stopSoonWith(MakeClients makeClients) {
        milliseconds soon{2000};
        for (;; soon *= 2) {
            startPatientServer();
            auto clients = makeClients();
            const milliseconds time = stop();
            if (time < soon || 2 * soon > patience) {
                EXPECT_LT(time, soon);
                return clients;
            }
        }
    }

    void startPatientServer() {
        RestEnvironment patient = environment();
        patient.makeServer = [] {
            return Rest::Tests::patientServer(
                {.clients = {.accept = Rest::Tests::acceptWithSmallBuffer}}, patience);
        };
        rest.reset();
        rest = std::make_unique<RESTServer>(stopRequested, handler, true, patient);
        start();
    }

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
    auto clients = stopSoonWith([this] {
        std::vector<RawClient> idle;
        for (int count = 0; count < 100; ++count) {
            idle.push_back(connect());
            idle.back().send(healthRequest);
            EXPECT_THAT(idle.back().receiveReply(), HasSubstr("200 OK"));
        }
        return idle;
    });

    for (RawClient& client : clients) {
        EXPECT_TRUE(client.waitForClose());
    }
}

TEST_F(RestStop, EndsConnectionsThatHaveSentNothingAndHalfARequest) {
    stopSoonWith([this] {
        std::vector<RawClient> clients;
        for (const char* sent : {"", "GET /kel/v1/hea",
                                 "PUT /kel/v1/tracing HTTP/1.1\r\nContent-Length: 50\r\n\r\n{"}) {
            clients.push_back(connect());
            clients.back().send(sent);
        }
        EXPECT_EQ(get("/kel/v1/health").status, 200);
        return clients;
    });
}

TEST_F(RestStop, EndsUnderFullLoad) {
    stopSoonWith([this] {
        auto clients = std::make_unique<BusyClients>(16, port);
        clients->waitUntilServed();
        return clients;
    });
}

TEST_F(RestStop, EndsAClientThatSendsWithoutReadingAnything) {
    std::string requests;
    for (int count = 0; count < 90; ++count) {
        requests += healthRequest;
    }
    stopSoonWith([&] {
        RawClient client = connect();
        client.send(requests);
        EXPECT_THAT(client.receiveReply(), HasSubstr("200 OK"));
        return client;
    });
}

TEST_F(RestStop, EndsAClientThatDoesNotTakeItsLargeReply) {
    api->projectDetails->vehicleInformations = {L"A"};
    auto object = std::make_shared<Kel_cpp::ProjectObject>();
    object->name = std::wstring().append(Rest::Tests::moreThanTheSystemKeeps, L'x');
    api->projectObjects.push_back(object);
    stopSoonWith([this] {
        RawClient client = connect();
        client.send("GET /kel/v1/projects/P1/otx HTTP/1.1\r\nHost: localhost\r\n\r\n");
        EXPECT_TRUE(client.waitForData());
        return client;
    });
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
    rest->stop();

    EXPECT_FALSE(takesClients());
}

} // namespace

} // namespace Quarlen::Tests
