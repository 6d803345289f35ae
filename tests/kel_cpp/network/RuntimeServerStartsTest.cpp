#include <atomic>
#include <string>
#include <system_error>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/kel_cpp/network/NetworkTesting.hpp"
#include "tests/kel_cpp/network/RpcTestClient.hpp"
#include "tests/kel_cpp/network/ServedRuntime.hpp"
#include "tests/support/NumberedCause.hpp"
#include "tests/support/TraceCapture.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

/// What starts and cancels use outlives the server: its stop cancels a start that has not been
/// answered yet, although its sequence has returned.
class AServerWithStarts : public testing::Test {
protected:
    /// No start must be waited for in vain where a test fails.
    void TearDown() override { gate.open(); }

    Gate gate;
    std::atomic<int> begun{0};
    std::atomic<int> ended{0};
    /// Of the sequences that were started.
    std::vector<std::wstring> names;
    /// Who started or cancelled, or who was connected meanwhile.
    std::vector<std::wstring> clients;
    ServedRuntime served;
    RuntimeServer server{served.sources()};
    std::wstring address = server.start(L"127.0.0.1:0");
};

TEST_F(AServerWithStarts, StartsASequenceForTheClientAndAnswersWhenItHasReturned) {
    served.start = [this](const std::wstring& name, const std::wstring& client) {
        names.push_back(name);
        clients.push_back(client);
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
    EXPECT_THAT(names, ElementsAre(L"One.xml"));
    EXPECT_THAT(clients, ElementsAre(client.name));
}

TEST_F(AServerWithStarts, TellsThatNobodyHandledARequest) {
    served.start = [](const auto&, const auto&) { return false; };
    served.cancel = [](const auto&) { return false; };
    RpcTestClient client(address);

    EXPECT_EQ(client.result("sequence.start", {{"name", "x"}}), json::value({{"handled", false}}));
    EXPECT_EQ(client.result("sequence.cancel"), json::value({{"handled", false}}));
}

TEST_F(AServerWithStarts, CancelsWhileASequenceRunsAndCannotBeKeptFromItByWaitingStarts) {
    served.start = [this](const auto&, const auto&) {
        gate.wait();
        ++ended;
        return true;
    };
    served.cancel = [this](const std::wstring& client) {
        clients.push_back(client);
        gate.open();
        return true;
    };
    RpcTestClient client(address);
    client.send(R"({"jsonrpc":"2.0","id":101,"method":"sequence.start","params":{"name":"a"}})");
    client.send(R"({"jsonrpc":"2.0","id":102,"method":"sequence.start","params":{"name":"b"}})");
    gate.awaitWaiting(1);

    EXPECT_EQ(client.result("sequence.cancel"), json::value({{"handled", true}}));
    EXPECT_THAT(clients, ElementsAre(client.name));
    EXPECT_TRUE(eventually([&] { return ended == 2; }));
}

TEST_F(AServerWithStarts, RefusesTheSeventeenthStartThatWaitsAndListsTheOthers) {
    served.start = [this](const auto&, const auto&) {
        ++begun;
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
    EXPECT_EQ(begun, 17);
    EXPECT_EQ(other.result("sequence.waiting").as_array().size(), 0U);
}

TEST_F(AServerWithStarts, GoesOnWithTheSequenceOfAClientThatVanishes) {
    served.start = [this](const auto&, const auto&) {
        gate.wait();
        ++ended;
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
    EXPECT_EQ(ended, 0);
    gate.open();

    EXPECT_TRUE(eventually([&] { return ended == 1 && server.clients().size() == 1U; }));
}

TEST_F(AServerWithStarts, DoesNotDropTheStartOfAClientThatVanishesBeforeItsTurn) {
    served.start = [this](const std::wstring& name, const auto&) {
        gate.wait();
        names.push_back(name);
        clients = server.clients();
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
    EXPECT_EQ(clients, onlyClient);
}

TEST_F(AServerWithStarts, TellsTheFailureOfTheRuntime) {
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

TEST_F(AServerWithStarts, DropsTheWaitingStartsWhenItStopsAndCancelsTheRunningOne) {
    served.cancel = [this](const auto&) {
        gate.open();
        return true;
    };
    served.start = [this](const auto&, const auto&) {
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
TEST_F(AServerWithStarts, ListsItsClientsWhileAStopCancelsTheirSequence) {
    served.start = [this](const auto&, const auto&) {
        gate.wait();
        return true;
    };
    served.cancel = [this](const auto&) {
        // Only at the first cancel: a start that ends late is cancelled again.
        if (clients.empty()) {
            clients = server.clients();
        }
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

TEST_F(AServerWithStarts, TracesWhyAStopCannotCancelTheRunningSequence) {
    const Quarlen::Tests::TraceCapture traces;
    served.start = [this](const auto&, const auto&) {
        gate.wait();
        return true;
    };
    served.cancel = [this](const auto&) -> bool {
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

TEST_F(AServerWithStarts, CancelsNothingWhenItStopsWhileNoClientsSequenceRuns) {
    served.cancel = [this](const std::wstring& client) {
        clients.push_back(client);
        return true;
    };
    const RpcTestClient client(address);

    server.stopAll();

    EXPECT_THAT(clients, IsEmpty());
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
