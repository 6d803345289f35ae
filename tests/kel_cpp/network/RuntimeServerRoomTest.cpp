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

    Gate gate;
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

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
