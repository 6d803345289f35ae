#include <system_error>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_cpp/history/RunGuards.hpp"
#include "tests/kel_cpp/network/NetworkTesting.hpp"
#include "tests/kel_cpp/network/RpcTestClient.hpp"
#include "tests/kel_cpp/network/ServedRuntime.hpp"
#include "tests/support/NumberedCause.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

std::vector<std::string> textsOf(const json::value& array) {
    std::vector<std::string> texts;
    for (const json::value& entry : array.as_array()) {
        texts.emplace_back(entry.as_string());
    }
    return texts;
}

std::string textOf(const json::object& status) {
    return std::string(status.at("text").as_string());
}

class AServerWithMethods : public testing::Test {
protected:
    ServedRuntime served;
    RuntimeServer server{served.sources()};
    std::wstring address = server.start(L"127.0.0.1:0");
};

TEST_F(AServerWithMethods, AnswersCallsOverAWebSocket) {
    RpcTestClient client(address);

    EXPECT_EQ(client.status, 101U);
    EXPECT_EQ(client.result("server.version"), json::value("1.2.3"));
    EXPECT_THAT(textsOf(client.result("sequence.list")), ElementsAre("One.xml", "Two.xml"));
    EXPECT_THAT(textsOf(client.result("projects.list")), ElementsAre("Car_A"));
    EXPECT_EQ(client.result("vehicle.get").at("vehicleInformation"), json::value("VIT_A"));
    EXPECT_EQ(client.result("session.role"), json::value("control"));
}

TEST_F(AServerWithMethods, AnswersCallsByPost) {
    served.statuses.set(L"Idle");

    const json::object response =
        post(address, R"({"jsonrpc":"2.0","id":"a","method":"status.get"})");

    EXPECT_EQ(response.at("id"), json::value("a"));
    EXPECT_EQ(response.at("result").at("text"), json::value("Idle"));
    EXPECT_EQ(response.at("result").at("number"), json::value(1));
}

TEST_F(AServerWithMethods, AnswersANotificationByPostWithoutContent) {
    const HttpResponse response =
        request(address, http::verb::post, "/rpc", R"({"jsonrpc":"2.0","method":"status.get"})");

    EXPECT_EQ(response.result(), http::status::no_content);
    EXPECT_EQ(response.body(), "");
}

TEST_F(AServerWithMethods, RefusesToSubscribeAPost) {
    const json::object response =
        post(address, R"({"jsonrpc":"2.0","id":1,"method":"status.subscribe"})");

    EXPECT_THAT(std::string(response.at("error").at("message").as_string()),
                HasSubstr("WebSocket"));
}

TEST_F(AServerWithMethods, TellsASubscriberThePresentStatusFirstThenEachChangeInOrder) {
    served.statuses.set(L"before");
    served.statuses.set(L"present");
    RpcTestClient client(address);

    EXPECT_EQ(client.result("status.subscribe"), json::value(true));
    EXPECT_EQ(client.notifications.size(), 0U);
    for (int number = 3; number < 300; ++number) {
        served.statuses.set(std::to_wstring(number));
    }

    const json::object first = client.notification("status.changed");
    EXPECT_EQ(textOf(first), "present");
    EXPECT_EQ(first.at("number"), json::value(2));
    for (int number = 3; number < 300; ++number) {
        const json::object next = client.notification("status.changed");
        ASSERT_EQ(textOf(next), std::to_string(number));
        ASSERT_EQ(next.at("number"), json::value(number));
    }
}

TEST_F(AServerWithMethods, LosesNoStatusThatIsSetDuringTheSubscription) {
    // The client must not lag so far behind that the server closes it.
    constexpr int maxAhead = 100;
    std::atomic<int> ahead{0};
    const std::jthread setter([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            if (ahead < maxAhead) {
                ++ahead;
                served.statuses.set(L"busy");
            }
            std::this_thread::yield();
        }
    });
    for (int round = 0; round < 20; ++round) {
        RpcTestClient client(address);
        ahead = 0;
        client.result("status.subscribe");
        std::int64_t last = client.notification("status.changed").at("number").as_int64();
        for (int count = 0; count < 20; ++count) {
            --ahead;
            const auto next = client.notification("status.changed").at("number").as_int64();
            EXPECT_EQ(next, last + 1);
            last = next;
        }
    }
}

TEST_F(AServerWithMethods, TellsNothingAfterUnsubscribe) {
    RpcTestClient client(address);
    client.result("status.subscribe");
    client.notification("status.changed");

    client.result("status.unsubscribe");
    served.statuses.set(L"unheard");
    client.result("server.version");

    EXPECT_EQ(client.notifications.size(), 0U);
}

TEST_F(AServerWithMethods, TellsNothingToAClientThatHasNotSubscribed) {
    RpcTestClient client(address);
    client.result("server.version");

    served.statuses.set(L"unheard");
    client.result("server.version");

    EXPECT_EQ(client.notifications.size(), 0U);
}

TEST_F(AServerWithMethods, TellsHowFarAJobIsAndThatARunHasEnded) {
    RpcTestClient client(address);
    client.result("status.subscribe");
    {
        const RunLog::ClientRun run(served.runs, L"somebody");
        served.runs.statusSet({L"Running sequence: One.xml", {}, 1});
        served.runs.jobBegins(7, JobKind::Flash, L"Item");
        served.runs.jobProgressed({7, JobKind::Flash, L"ENGINE", L"bytes", 10, 40});
        EXPECT_EQ(client.result("jobs.list").as_array().size(), 1U);
        served.runs.jobEnds(7, JobOutcome::Passed, {});
        served.runs.statusSet({L"Idle", {}, 2});
    }

    const json::object progress = client.notification("job.progress");
    EXPECT_EQ(
        json::serialize(progress),
        R"({"kind":"flash","controlUnit":"ENGINE","unit":"bytes","done":10,"total":40,"job":7})");
    const json::object ended = client.notification("run.ended");
    EXPECT_EQ(ended.at("name"), json::value("One.xml"));
    EXPECT_EQ(ended.at("client"), json::value("somebody"));
    EXPECT_EQ(ended.at("outcome"), json::value("clean"));
    const json::value run = client.result("runs.get", {{"id", ended.at("id")}});
    EXPECT_EQ(run.at("jobs").at(0).at("name"), json::value("Item"));
    EXPECT_EQ(client.result("runs.list").as_array().size(), 1U);
    EXPECT_EQ(client.errorCode("runs.get", {{"id", 99}}), -32003);
}

TEST_F(AServerWithMethods, NoticesTheEndOfARunThatNobodyTellsItsEndOf) {
    RpcTestClient client(address);
    client.result("status.subscribe");
    served.statuses.listen([this](const StatusEntry& status) { served.runs.statusSet(status); });
    served.statuses.set(L"Running sequence: Two.xml");
    served.statuses.set(L"Idle");

    const json::object ended = client.notification("run.ended");

    EXPECT_EQ(ended.at("name"), json::value("Two.xml"));
    EXPECT_EQ(ended.at("client"), json::value(""));
}

TEST_F(AServerWithMethods, StartsASequenceForTheClientAndAnswersWhenItHasReturned) {
    Gate gate;
    std::wstring asked;
    std::wstring byWhom;
    served.start = [&](const std::wstring& name, const std::wstring& client) {
        asked = name;
        byWhom = client;
        gate.wait();
        return true;
    };
    RpcTestClient client(address);
    client.send(
        R"({"jsonrpc":"2.0","id":100,"method":"sequence.start","params":{"name":"One.xml"}})");
    gate.awaitWaiting(1);

    EXPECT_EQ(client.result("server.version"), json::value("1.2.3"));
    gate.open();

    EXPECT_EQ(client.responseTo(100).at("result"), json::value({{"handled", true}}));
    EXPECT_EQ(asked, L"One.xml");
    EXPECT_EQ(byWhom, client.name);
}

TEST_F(AServerWithMethods, TellsThatNobodyHandledARequest) {
    served.start = [](const auto&, const auto&) { return false; };
    served.cancel = [](const auto&) { return false; };
    RpcTestClient client(address);

    EXPECT_EQ(client.result("sequence.start", {{"name", "x"}}), json::value({{"handled", false}}));
    EXPECT_EQ(client.result("sequence.cancel"), json::value({{"handled", false}}));
}

TEST_F(AServerWithMethods, CancelsWhileASequenceRunsAndCannotBeKeptFromItByWaitingStarts) {
    Gate gate;
    std::atomic<int> ended{0};
    served.start = [&](const auto&, const auto&) {
        gate.wait();
        ++ended;
        return true;
    };
    std::wstring byWhom;
    served.cancel = [&](const std::wstring& client) {
        byWhom = client;
        gate.open();
        return true;
    };
    RpcTestClient client(address);
    client.send(R"({"jsonrpc":"2.0","id":101,"method":"sequence.start","params":{"name":"a"}})");
    client.send(R"({"jsonrpc":"2.0","id":102,"method":"sequence.start","params":{"name":"b"}})");
    gate.awaitWaiting(1);

    EXPECT_EQ(client.result("sequence.cancel"), json::value({{"handled", true}}));
    EXPECT_EQ(byWhom, client.name);
    // The gate is not destroyed under the second one.
    EXPECT_TRUE(eventually([&] { return ended == 2; }));
}

TEST_F(AServerWithMethods, RefusesTheSeventeenthStartThatWaitsAndListsTheOthers) {
    Gate gate;
    std::atomic<int> started{0};
    served.start = [&](const auto&, const auto&) {
        ++started;
        gate.wait();
        return true;
    };
    RpcTestClient starter(address);
    RpcTestClient other(address);
    const auto start = [](int id) {
        return R"({"jsonrpc":"2.0","id":)" + std::to_string(id) +
               R"(,"method":"sequence.start","params":{"name":"S)" + std::to_string(id) + "\"}}";
    };
    starter.send(start(100));
    gate.awaitWaiting(1);
    for (int id = 101; id < 117; ++id) {
        starter.send(start(id));
    }
    ASSERT_TRUE(
        eventually([&] { return other.result("sequence.waiting").as_array().size() == 16U; }));

    EXPECT_EQ(other.errorCode("sequence.start", {{"name", "one too many"}}), -32002);
    const json::value first = other.result("sequence.waiting").at(0);
    EXPECT_EQ(first.at("name"), json::value("S101"));
    EXPECT_EQ(first.at("client"), json::value(Platform::toUtf8(starter.name)));
    gate.open();

    for (int id = 100; id < 117; ++id) {
        EXPECT_TRUE(starter.responseTo(id).contains("result"));
    }
    EXPECT_EQ(started, 17);
    EXPECT_EQ(other.result("sequence.waiting").as_array().size(), 0U);
}

TEST_F(AServerWithMethods, GoesOnWithTheSequenceOfAClientThatVanishes) {
    Gate gate;
    std::atomic<bool> ended{false};
    served.start = [&](const auto&, const auto&) {
        gate.wait();
        ended = true;
        return true;
    };
    RpcTestClient client(address);
    client.send(R"({"jsonrpc":"2.0","id":1,"method":"sequence.start","params":{"name":"a"}})");
    gate.awaitWaiting(1);

    client.vanish();
    RpcTestClient other(address);
    // It stays an active connection, so that what depends on one acts on its run.
    ASSERT_TRUE(eventually([&] {
        return server.clients() == std::vector<std::wstring>{other.name, client.name};
    }));
    EXPECT_FALSE(ended);
    gate.open();

    EXPECT_TRUE(eventually([&] { return ended && server.clients().size() == 1U; }));
}

TEST_F(AServerWithMethods, DoesNotDropTheStartOfAClientThatVanishesBeforeItsTurn) {
    Gate gate;
    std::vector<std::wstring> names;
    std::vector<std::vector<std::wstring>> listed;
    served.start = [&](const std::wstring& name, const auto&) {
        gate.wait();
        names.push_back(name);
        listed.push_back(server.clients());
        return true;
    };
    RpcTestClient client(address);
    const std::vector<std::wstring> onlyClient{client.name};
    client.send(R"({"jsonrpc":"2.0","id":1,"method":"sequence.start","params":{"name":"a"}})");
    gate.awaitWaiting(1);
    client.send(R"({"jsonrpc":"2.0","id":2,"method":"sequence.start","params":{"name":"b"}})");
    client.result("server.version");

    client.vanish();
    gate.open();

    EXPECT_TRUE(eventually([&] { return server.clients().empty(); }));
    EXPECT_THAT(names, ElementsAre(L"a", L"b"));
    EXPECT_EQ(listed.back(), onlyClient);
}

TEST_F(AServerWithMethods, TellsTheFailureOfTheRuntime) {
    served.start = [](const auto&, const auto&) -> bool {
        throw KelApiException(L"no vehicle", 42);
    };
    RpcTestClient client(address);

    const json::object error =
        client.call("sequence.start", {{"name", "a"}}).at("error").as_object();

    EXPECT_EQ(error.at("code"), json::value(-32000));
    EXPECT_EQ(error.at("message"), json::value("no vehicle"));
    EXPECT_EQ(error.at("data").at("errorCode"), json::value(42));
}

TEST_F(AServerWithMethods, DropsTheWaitingStartsWhenItStopsAndCancelsTheRunningOne) {
    Gate gate;
    std::atomic<int> begun{0};
    std::atomic<int> ended{0};
    served.cancel = [&](const auto&) {
        gate.open();
        return true;
    };
    served.start = [&](const auto&, const auto&) {
        ++begun;
        gate.wait();
        ++ended;
        return true;
    };
    RpcTestClient client(address);
    client.send(R"({"jsonrpc":"2.0","id":101,"method":"sequence.start","params":{"name":"a"}})");
    client.send(R"({"jsonrpc":"2.0","id":102,"method":"sequence.start","params":{"name":"b"}})");
    gate.awaitWaiting(1);
    // Asked over another connection, so that the refusal finds its own idle.
    RpcTestClient other(address);
    ASSERT_TRUE(
        eventually([&] { return other.result("sequence.waiting").as_array().size() == 1U; }));

    server.stopAll();

    const json::object refusal = client.responseTo(102);
    EXPECT_EQ(refusal.at("error").at("code"), json::value(-32004));
    EXPECT_EQ(begun, 1);
    EXPECT_EQ(ended, 1);
}

/// Without an active connection a cancel ends nothing.
TEST_F(AServerWithMethods, ListsItsClientsWhileAStopCancelsTheirSequence) {
    std::vector<std::wstring> clients;
    Gate gate;
    served.start = [&](const auto&, const auto&) {
        gate.wait();
        return true;
    };
    served.cancel = [&](const auto&) {
        clients = server.clients();
        gate.open();
        throw KelApiException(L"a cancel that fails ends nothing else", 1);
        return false;
    };
    RpcTestClient client(address);
    const std::vector<std::wstring> onlyClient{client.name};
    client.send(R"({"jsonrpc":"2.0","id":1,"method":"sequence.start","params":{"name":"a"}})");
    gate.awaitWaiting(1);
    client.vanish();

    server.stop(address);

    EXPECT_EQ(clients, onlyClient);
}

TEST_F(AServerWithMethods, TracesWhyAStopCannotCancelTheRunningSequence) {
    const Quarlen::Tests::TraceCapture traces;
    Gate gate;
    served.start = [&](const auto&, const auto&) {
        gate.wait();
        return true;
    };
    served.cancel = [&](const auto&) -> bool {
        gate.open();
        throw std::system_error(std::make_error_code(std::errc::permission_denied), "cancel");
    };
    RpcTestClient client(address);
    client.send(R"({"jsonrpc":"2.0","id":1,"method":"sequence.start","params":{"name":"a"}})");
    gate.awaitWaiting(1);

    server.stopAll();

    EXPECT_THAT(traces.texts(), testing::Contains(testing::AllOf(
                                    StartsWith(L"a sequence cannot be cancelled: cancel: "),
                                    Quarlen::Tests::EndsWithANumber())));
}

TEST_F(AServerWithMethods, CancelsNothingWhenItStopsWhileNoClientsSequenceRuns) {
    bool cancelled = false;
    served.cancel = [&](const auto&) { return cancelled = true; };
    const RpcTestClient client(address);

    server.stopAll();

    EXPECT_FALSE(cancelled);
}

TEST_F(AServerWithMethods, GivesASecondSubscriptionNoGap) {
    RpcTestClient client(address);
    client.result("status.subscribe");
    for (int round = 0; round < 50; ++round) {
        served.statuses.set(L"a");
        client.result("status.subscribe");
    }
    served.statuses.set(L"last");

    std::int64_t last = 0;
    for (json::object next; next["text"] != "last";) {
        next = client.notification("status.changed");
        const std::int64_t number = next.at("number").as_int64();
        EXPECT_TRUE(number == last || number == last + 1) << number << " after " << last;
        last = number;
    }
    EXPECT_EQ(last, 51);
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
