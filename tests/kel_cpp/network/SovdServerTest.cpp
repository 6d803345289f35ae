#include "kel_cpp/network/SovdServer.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
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
    SovdServer server{model};
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
        SovdServer server(model);
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
    server.start(0);
    const std::uint16_t port = server.port();
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

TEST_F(ASovdServer, ServesWhileMoreClientsThanItHasWorkersKeepSilent) {
    server.start(0);
    const std::wstring address = L"127.0.0.1:" + std::to_wstring(server.port());
    std::vector<std::unique_ptr<TestClient>> silent;
    for (int index = 0; index < 20; ++index) {
        silent.push_back(std::make_unique<TestClient>(address));
    }

    const auto result = get("/sovd/v1/components");

    ASSERT_TRUE(result);
    EXPECT_EQ(result->status, 200);
}

TEST_F(ASovdServer, StartsOnceAnAddressIsFreeThatNobodyListensOn) {
    Quarlen::Tests::BoundAddress held;
    SovdServer waiting(model, {}, {.clock = held.freedBySleep()});

    waiting.start(held.port());

    EXPECT_EQ(waiting.port(), held.port());
    EXPECT_EQ(held.sleeps(), 1U);
}

/// A SOVD server that a test gives the time that clients have to read their last reply.
class EndOfSovdConnection : public testing::Test {
protected:
    void startWithReadingTime(std::chrono::milliseconds time) {
        server = std::make_unique<SovdServer>(model, Platform::ClientSource{},
                                              Platform::AddressProbe{}, [this, time](std::size_t) {
                                                  ++endings;
                                                  return time;
                                              });
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
    std::unique_ptr<SovdServer> server;
    std::atomic<int> endings{0};
};

TEST_F(EndOfSovdConnection, IsAResetForAClientThatNeverEndsItsSide) {
    startWithReadingTime(std::chrono::milliseconds(50));

    EXPECT_TRUE(clientWithItsReply().waitForReset());
}

TEST_F(EndOfSovdConnection, IsNoResetForAClientThatEndsItsSide) {
    startWithReadingTime(std::chrono::minutes(1));
    Quarlen::Tests::RawClient client = clientWithItsReply();

    client.stopSending();

    EXPECT_FALSE(client.waitForReset(aWhile));
}

TEST_F(EndOfSovdConnection, IsAResetWithoutAWaitForAClientThatHasSaidNothing) {
    startWithReadingTime(std::chrono::hours(1));
    Quarlen::Tests::RawClient silent(server->port());

    EXPECT_TRUE(silent.waitForReset());
    EXPECT_EQ(endings, 0);
}

TEST_F(EndOfSovdConnection, IsAResetAtAStopWhereItWouldKeepTheAddress) {
    startWithReadingTime(std::chrono::hours(1));
    Quarlen::Tests::RawClient client = clientWithItsReply();

    server->stop();

    EXPECT_EQ(client.waitForReset(aWhile), Platform::oldConnectionsKeepTheAddress());
}

TEST_F(EndOfSovdConnection, TakesNoLongReplyFromAClientAtAStop) {
    model.components = [] {
        return std::vector<SovdModel::Component>{{"ENGINE", std::string(100'000, 'x')}};
    };
    startWithReadingTime(std::chrono::hours(1));
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
    SovdServer failing(model, {.clock = pauses, .accept = Quarlen::Tests::FailingAccept(failures)});
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
