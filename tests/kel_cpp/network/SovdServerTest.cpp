#include "kel_cpp/network/SovdServer.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <picojson.h>

#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/ListeningSocket.hpp"
#include "tests/kel_cpp/network/NetworkTesting.hpp"
#include "tests/support/AcceptErrors.hpp"
#include "tests/support/BoundAddress.hpp"
#include "tests/support/FailingAccept.hpp"
#include "tests/support/FakeClock.hpp"
#include "tests/support/LoopbackPort.hpp"
#include "tests/support/NumberedCause.hpp"
#include "tests/support/RawClient.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

SovdModel exampleModel() {
    SovdModel model;
    model.serverVersion = [] { return "1.2.3"; };
    model.components = [] {
        return std::vector<SovdModel::Component>{{"ENGINE", "Engine \"control\""},
                                                 {"F 2", "Pr\xC3\xBC"
                                                         "fer"}};
    };
    return model;
}

/// Longer than any machine is busy, so that no limit of time decides what a test sees.
SovdTimes patientTimes() {
    return {.silent = std::chrono::hours(1),
            .request = std::chrono::hours(1),
            .reading = [](std::size_t) { return std::chrono::hours(1); }};
}

class ASovdServer : public testing::Test {
protected:
    httplib::Result get(const std::string& path) {
        httplib::Client client("127.0.0.1", server.port());
        return client.Get(path);
    }
    picojson::value getJson(const std::string& path) {
        const auto result = get(path);
        picojson::value body;
        EXPECT_TRUE(result);
        if (result) {
            EXPECT_EQ(result->get_header_value("Content-Type"), "application/json");
            EXPECT_EQ(picojson::parse(body, result->body), "");
        }
        return body;
    }
    [[nodiscard]] std::string base() const {
        return "http://127.0.0.1:" + std::to_string(server.port()) + "/sovd/v1";
    }

    SovdModel model = exampleModel();
    SovdServer server{model, {}, {}, patientTimes()};
};

TEST_F(ASovdServer, TellsItsVersions) {
    server.start(0);

    const auto body = getJson("/sovd/v1/version-info");

    const auto& entries = body.get("sovd_info").get<picojson::array>();
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries[0].get("version").to_str(), "1.1.0");
    EXPECT_EQ(entries[0].get("base_uri").to_str(), base());
    EXPECT_EQ(entries[0].get("vendor_info").get("name").to_str(), "kel_server");
    EXPECT_EQ(entries[0].get("vendor_info").get("version").to_str(), "1.2.3");
}

TEST_F(ASovdServer, ListsTheComponentsInTheirOrder) {
    server.start(0);

    const auto body = getJson("/sovd/v1/components");

    const auto& items = body.get("items").get<picojson::array>();
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0].get("id").to_str(), "ENGINE");
    EXPECT_EQ(items[0].get("name").to_str(), "Engine \"control\"");
    EXPECT_EQ(items[0].get("href").to_str(), base() + "/components/ENGINE");
    EXPECT_EQ(items[1].get("name").to_str(), "Pr\xC3\xBC"
                                             "fer");
    EXPECT_EQ(items[1].get("href").to_str(), base() + "/components/F%202");
}

TEST_F(ASovdServer, ShowsTheComponentBehindAReference) {
    server.start(0);

    EXPECT_EQ(getJson("/sovd/v1/components/F%202").get("id").to_str(), "F 2");
}

TEST_F(ASovdServer, AnswersAnUnknownResourceWithA404InJson) {
    server.start(0);

    EXPECT_EQ(get("/sovd/v1/components/BRAKES")->status, 404);
    EXPECT_EQ(get("/")->status, 404);
    EXPECT_EQ(getJson("/sovd/v1/faults").get("message").to_str(), "Not Found");
}

class ASovdServerOfABrokenModel : public testing::Test {
protected:
    static std::string bodyAfter(const std::function<std::string()>& serverVersion) {
        SovdModel model = exampleModel();
        model.serverVersion = serverVersion;
        SovdServer server(model, {}, {}, patientTimes());
        server.start(0);
        const auto result =
            httplib::Client("127.0.0.1", server.port()).Get("/sovd/v1/version-info");
        return result && result->status == 500 ? result->body : "no status 500";
    }
};

TEST_F(ASovdServerOfABrokenModel, AnswersWithAServerFailure) {
    const auto fail = []() -> std::string { throw runtimeError(ErrorCode::Internal, L"no model"); };
    const auto failOtherwise = []() -> std::string { throw std::runtime_error("bad\r\nX: y"); };

    EXPECT_EQ(bodyAfter(fail), R"({"error_code":"sovd-server-failure","message":"no model"})");
    EXPECT_EQ(bodyAfter(failOtherwise),
              R"({"error_code":"sovd-server-failure","message":"bad\r\nX: y"})");
}

TEST_F(ASovdServer, HasAPortOnlyWhileItRuns) {
    EXPECT_EQ(server.port(), 0);
    server.start(0);
    EXPECT_NE(server.port(), 0);
    server.stop();
    EXPECT_EQ(server.port(), 0);
}

TEST_F(ASovdServer, RefusesToStartTwice) {
    server.start(0);

    EXPECT_THAT(messageOf([&] { server.start(0); }),
                HasSubstr(L"it runs already on port " + std::to_wstring(server.port())));
}

TEST_F(ASovdServer, RefusesAPortThatIsTaken) {
    server.start(0);
    SovdServer other(model);

    const std::wstring message = messageOf([&] { other.start(server.port()); });

    EXPECT_THAT(message, testing::AllOf(StartsWith(L"cannot start the SOVD server on 127.0.0.1:" +
                                                   std::to_wstring(server.port()) + L": "),
                                        Quarlen::Tests::EndsWithANumber()));
    EXPECT_EQ(other.port(), 0);
}

TEST_F(ASovdServer, StartsAgainOnTheSamePort) {
    const std::uint16_t port = Quarlen::Tests::freePort();
    server.start(port);
    ASSERT_EQ(get("/sovd/v1/components")->status, 200);
    server.stop();

    server.start(port);

    EXPECT_EQ(get("/sovd/v1/components")->status, 200);
}

TEST_F(ASovdServer, DoesNothingWhenItIsStoppedWithoutRunning) {
    EXPECT_NO_THROW(server.stop());
    server.start(0);
    server.stop();
    EXPECT_NO_THROW(server.stop());
}

/// How long a server takes to stop whose clients keep their connections open.
std::chrono::steady_clock::duration timeOfAStop(SovdServer& server) {
    server.start(0);
    const std::wstring address = L"127.0.0.1:" + std::to_wstring(server.port());
    const TestClient silent(address);
    TestClient half(address);
    half.send("GET /sovd/v1/components HTTP/1.1\r\nHost:");
    const auto before = std::chrono::steady_clock::now();
    server.stop();
    return std::chrono::steady_clock::now() - before;
}

/// A busy machine may delay some of the stops.
TEST_F(ASovdServer, StopsThoughClientsKeepSilentConnectionsOpen) {
    constexpr std::chrono::seconds soon{2};
    auto fastest = timeOfAStop(server);
    for (int attempt = 1; attempt < 10 && fastest >= soon; ++attempt) {
        fastest = std::min(fastest, timeOfAStop(server));
    }

    EXPECT_LT(fastest, soon);
}

/// The status of a request beside more silent clients than the server has workers; 0 when it lost
/// its connection.
int statusBesideSilentClients(const SovdModel& model, std::chrono::milliseconds silentTime) {
    SovdTimes times = patientTimes();
    times.silent = silentTime;
    SovdServer server(model, {}, {}, times);
    server.start(0);
    const std::wstring address = L"127.0.0.1:" + std::to_wstring(server.port());
    std::vector<std::unique_ptr<TestClient>> silent;
    for (int index = 0; index < 20; ++index) {
        silent.push_back(std::make_unique<TestClient>(address));
    }
    const auto result = httplib::Client("127.0.0.1", server.port()).Get("/sovd/v1/components");
    return result ? result->status : 0;
}

/// A busy machine may keep a client from sending its request for longer than a short time.
TEST_F(ASovdServer, ServesWhileMoreClientsThanItHasWorkersKeepSilent) {
    int status = 0;
    for (int silentTime = 1; silentTime <= 16 && status == 0; silentTime *= 2) {
        status = statusBesideSilentClients(model, std::chrono::seconds(silentTime));
    }

    EXPECT_EQ(status, 200);
}

TEST_F(ASovdServer, StartsOnceAnAddressIsFreeThatNobodyListensOn) {
    Quarlen::Tests::BoundAddress held;
    SovdServer waiting(model, {}, {.clock = held.freedBySleep()});

    waiting.start(held.port());

    EXPECT_EQ(waiting.port(), held.port());
    EXPECT_EQ(held.sleeps(), 1U);
}

/// A SOVD server that a test gives the times of its clients.
class EndOfSovdConnection : public testing::Test {
protected:
    void start(SovdTimes times) {
        times.reading = [this, reading = std::move(times.reading)](std::size_t bytes) {
            ++endings;
            return reading(bytes);
        };
        server = std::make_unique<SovdServer>(model, Platform::ClientSource{},
                                              Platform::AddressProbe{}, std::move(times));
        server->start(0);
    }
    Quarlen::Tests::RawClient clientWithItsReply() {
        Quarlen::Tests::RawClient client(server->port());
        client.send(request);
        EXPECT_THAT(client.receiveReply(), HasSubstr("200 OK"));
        EXPECT_TRUE(client.waitForClose());
        return client;
    }

    static constexpr const char* request = "GET /sovd/v1/components HTTP/1.1\r\nHost: x\r\n\r\n";
    static constexpr std::chrono::milliseconds aWhile{300};
    SovdModel model = exampleModel();
    /// How many clients have been given time to read their last reply.
    std::atomic<int> endings{0};
    std::unique_ptr<SovdServer> server;
};

TEST_F(EndOfSovdConnection, IsAResetForAClientThatNeverEndsItsSide) {
    SovdTimes times = patientTimes();
    times.reading = [](std::size_t) { return std::chrono::milliseconds(50); };
    start(times);

    EXPECT_TRUE(clientWithItsReply().waitForReset());
}

TEST_F(EndOfSovdConnection, IsNoResetForAClientThatEndsItsSide) {
    start(patientTimes());
    Quarlen::Tests::RawClient client = clientWithItsReply();

    client.stopSending();

    EXPECT_FALSE(client.waitForReset(aWhile));
}

TEST_F(EndOfSovdConnection, IsAResetWithoutAWaitForAClientThatHasSaidNothing) {
    SovdTimes times = patientTimes();
    times.silent = std::chrono::milliseconds(100);
    start(times);
    Quarlen::Tests::RawClient silent(server->port());

    EXPECT_TRUE(silent.waitForReset());
    EXPECT_EQ(endings, 0);
}

TEST_F(EndOfSovdConnection, IsAResetAtAStopWhereItWouldKeepTheAddress) {
    start(patientTimes());
    Quarlen::Tests::RawClient client = clientWithItsReply();

    server->stop();

    EXPECT_EQ(client.waitForReset(aWhile), Platform::oldConnectionsKeepTheAddress());
}

TEST_F(EndOfSovdConnection, TakesNoLongReplyFromAClientAtAStop) {
    model.components = [] {
        return std::vector<SovdModel::Component>{{"ENGINE", std::string(100'000, 'x')}};
    };
    start(patientTimes());
    Quarlen::Tests::RawClient client(server->port());
    client.send(request);
    // The reply has been written, and nothing of it been read.
    ASSERT_TRUE(eventually([&] { return endings == 1; }));

    server->stop();

    EXPECT_THAT(client.receiveReply(), HasSubstr(std::string(100'000, 'x')));
    EXPECT_FALSE(client.waitForReset(aWhile));
}

TEST_F(ASovdServer, ServesOnAfterEachFailureToAcceptThatPasses) {
    Quarlen::Tests::FakeClock pauses;
    const std::vector<int> failures = Quarlen::Tests::passingAcceptErrors();
    SovdServer failing(model, {.clock = pauses, .accept = Quarlen::Tests::FailingAccept(failures)},
                       {}, patientTimes());
    failing.start(0);

    const auto result = httplib::Client("127.0.0.1", failing.port()).Get("/sovd/v1/components");

    ASSERT_TRUE(result);
    EXPECT_EQ(result->status, 200);
    EXPECT_EQ(pauses.sleeps().size(), failures.size());
}

TEST_F(ASovdServer, TracesThatItsListeningSocketHasFailed) {
    const Quarlen::Tests::TraceCapture traces;
    const std::vector<int> failure{Quarlen::Tests::lastAcceptErrors().front()};
    SovdServer failing(model, {.accept = Quarlen::Tests::FailingAccept(failure)});
    failing.start(0);

    while (traces.lines().empty()) {
        std::this_thread::yield();
    }

    EXPECT_EQ(traces.texts().back(),
              L"The SOVD server has lost its port " + std::to_wstring(failing.port()));
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
