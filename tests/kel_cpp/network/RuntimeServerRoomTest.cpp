#include <array>
#include <cstddef>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/kel_cpp/network/NetworkTesting.hpp"
#include "tests/kel_cpp/network/RpcTestClient.hpp"
#include "tests/kel_cpp/network/ServedRuntime.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

/// A server for two clients.
class AFullServer : public testing::Test {
protected:
    void SetUp() override {
        served.settings.limits.maxClients = 2;
        served.start = [this](const auto& /*name*/, const auto& /*client*/) {
            gate.wait();
            return true;
        };
        address = server.start(L"127.0.0.1:0");
    }

    /// Whoever waits at them must not be waited for in vain where a test fails.
    void TearDown() override {
        gate.open();
        for (Gate& each : busy) {
            each.open();
        }
    }

    Gate gate;
    /// Of the calls on the I/O thread.
    std::array<Gate, 2> busy;
    ServedRuntime served;
    RuntimeServer server{served.sources()};
    std::wstring address;
};

TEST_F(AFullServer, KeepsAClientWhoseRequestIsBeingWorkedOn) {
    TestClient starter(address);
    const std::string call = R"({"jsonrpc":"2.0","id":1,"method":"sequence.start",)"
                             R"("params":{"name":"a"}})";
    starter.send("POST /rpc HTTP/1.1\r\nHost: " + Platform::toUtf8(address) +
                 "\r\nConnection: close\r\nContent-Length: " + std::to_string(call.size()) +
                 "\r\n\r\n" + call);
    gate.awaitWaiting(1);
    RpcTestClient idle(address);
    idle.result("server.version");

    RpcTestClient next(address);

    EXPECT_FALSE(idle.receive());
    EXPECT_EQ(next.result("server.version"), json::value("1.2.3"));
    gate.open();
    EXPECT_NE(starter.readAll().find(R"("handled":true)"), std::string::npos);
}

TEST_F(AFullServer, KeepsAWebSocketWhoseCallIsBeingWorkedOn) {
    RpcTestClient starter(address);
    starter.send(R"({"jsonrpc":"2.0","id":1,"method":"sequence.start","params":{"name":"a"}})");
    gate.awaitWaiting(1);
    RpcTestClient idle(address);
    idle.result("server.version");

    const RpcTestClient next(address);

    EXPECT_FALSE(idle.receive());
    gate.open();
    EXPECT_TRUE(starter.responseTo(1).contains("result"));
}

TEST_F(AFullServer, KeepsAClientThatTakesItsNotifications) {
    RpcTestClient subscriber(address);
    subscriber.result("status.subscribe");
    RpcTestClient idle(address);
    idle.result("server.version");
    served.statuses.set(L"heard");
    subscriber.notification("status.changed");
    subscriber.notification("status.changed");

    const RpcTestClient next(address);

    EXPECT_FALSE(idle.receive());
    EXPECT_EQ(subscriber.result("server.version"), json::value("1.2.3"));
}

/// Its place is taken after the request for the upgrade has come and before the answer is out.
TEST_F(AFullServer, EndsAClientWhoseUpgradeIsJustBeingAnswered) {
    server.stop(address);
    served.settings.limits.maxClients = 3;
    address = server.start(L"127.0.0.1:0");
    served.version = [this, calls = 0]() mutable {
        busy.at(static_cast<std::size_t>(calls++)).wait();
        return std::wstring(L"1.2.3");
    };
    const std::string call =
        R"([{"jsonrpc":"2.0","id":1,"method":"sequence.start","params":{"name":"a"}},)"
        R"({"jsonrpc":"2.0","id":2,"method":"server.version"}])";
    RpcTestClient first(address);
    RpcTestClient second(address);
    TestClient upgrading(address);
    upgrading.send("GET / HTTP/1.1\r\nHost: " + Platform::toUtf8(address) + "\r\n\r\n");
    upgrading.readUntil("</html>");

    first.send(call);
    busy[0].awaitWaiting(1);
    upgrading.send("GET /rpc HTTP/1.1\r\nHost: " + Platform::toUtf8(address) +
                   "\r\nUpgrade: websocket\r\nConnection: Upgrade"
                   "\r\nSec-WebSocket-Version: 13"
                   "\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n");
    second.send(call);
    busy[0].open();
    busy[1].awaitWaiting(1);
    const TestClient next(address);
    busy[1].open();

    EXPECT_THAT(upgrading.readUntil("need the place"),
                testing::AllOf(testing::HasSubstr("HTTP/1.1 101 "),
                               testing::HasSubstr("\r\n\r\n\x88\x1E\x03\xF5other clients ")));
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
