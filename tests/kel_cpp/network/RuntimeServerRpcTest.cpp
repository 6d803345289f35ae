#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_cpp/history/RunGuards.hpp"
#include "tests/kel_cpp/network/NetworkTesting.hpp"
#include "tests/kel_cpp/network/RpcTestClient.hpp"
#include "tests/kel_cpp/network/ServedRuntime.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

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
