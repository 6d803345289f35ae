#include <chrono>
#include <exception>
#include <memory>
#include <stop_token>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/ListeningSocket.hpp"
#include "tests/kel_cpp/network/NetworkTesting.hpp"
#include "tests/kel_cpp/network/RpcTestClient.hpp"
#include "tests/kel_cpp/network/ServedRuntime.hpp"
#include "tests/support/RawClient.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

/// A server that a test gives its limits before it starts it.
class AServerWithLimits : public testing::Test {
protected:
    void start() { address = server.start(L"127.0.0.1:0"); }
    std::int64_t errorOf(RpcTestClient& client, const std::string& message) {
        client.send(message);
        return client.receive().value().at("error").at("code").as_int64();
    }
    /// What the server says to bytes that are no request, until it closes.
    std::string answerTo(const std::string& bytes) {
        TestClient client(address);
        client.send(bytes);
        return client.readAll();
    }

    [[nodiscard]] std::uint16_t port() const {
        return static_cast<std::uint16_t>(std::stoul(address.substr(address.rfind(L':') + 1)));
    }
    /// Of a client that says itself whether its connection goes on.
    [[nodiscard]] std::string requestWith(const std::string& connection) const {
        return "GET / HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port()) +
               "\r\nConnection: " + connection + "\r\n\r\n";
    }
    /// Bytes for bytes, as nobody sends them who would answer the end of the connection.
    void openWebSocket(Quarlen::Tests::RawClient& client) const {
        client.send("GET /rpc HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port()) +
                    "\r\nConnection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13"
                    "\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n");
        EXPECT_THAT(client.receiveReply(), StartsWith("HTTP/1.1 101"));
    }

    /// Why a client that answers pings has been lost before it has got two of them; empty when it
    /// has not.
    static std::string lossOfAClientThatAnswersPings(std::chrono::seconds maxIdle) {
        ServedRuntime idle;
        idle.settings.limits.maxIdle = maxIdle;
        RuntimeServer server(idle.sources());
        try {
            RpcTestClient client(server.start(L"127.0.0.1:0"));
            client.result("status.subscribe");
            client.notification("status.changed");
            // Reading answers pings; the second one comes only when the first one has been
            // answered.
            const std::jthread setter([&](const std::stop_token& end) {
                eventually([&] { return client.pings >= 2 || end.stop_requested(); });
                if (client.pings >= 2) {
                    idle.statuses.set(L"still there");
                }
            });
            EXPECT_EQ(client.notification("status.changed").at("text"), json::value("still there"));
        } catch (const std::exception& loss) {
            return loss.what();
        }
        return {};
    }

    ServedRuntime served;
    RuntimeServer server{served.sources()};
    std::wstring address;
};

TEST_F(AServerWithLimits, LetsTheLongestIdleClientGoWhenItIsFull) {
    served.settings.limits.maxClients = 3;
    start();
    RpcTestClient idle(address);
    RpcTestClient second(address);
    RpcTestClient third(address);
    idle.result("server.version");
    second.result("server.version");
    third.result("server.version");
    idle.result("server.version");

    RpcTestClient fourth(address);

    EXPECT_FALSE(second.receive());
    EXPECT_EQ(second.reason().code, websocket::close_code::try_again_later);
    EXPECT_EQ(fourth.result("server.version"), json::value("1.2.3"));
    EXPECT_EQ(idle.result("server.version"), json::value("1.2.3"));
    EXPECT_EQ(third.result("server.version"), json::value("1.2.3"));
    EXPECT_EQ(server.clients().size(), 3U);
}

TEST_F(AServerWithLimits, LetsASilentConnectionGoWhenItIsFull) {
    served.settings.limits.maxClients = 1;
    start();
    TestClient silent(address);
    ASSERT_TRUE(eventually([&] { return server.clients().size() == 1; }));

    RpcTestClient client(address);

    EXPECT_TRUE(silent.waitForClose());
    EXPECT_EQ(client.result("server.version"), json::value("1.2.3"));
}

TEST_F(AServerWithLimits, ClosesAConnectionThatSaysNothing) {
    served.settings.limits.maxIdle = std::chrono::seconds(1);
    start();
    TestClient silent(address);
    TestClient half(address);
    half.send("POST /rpc HTTP/1.1\r\nHost: ");

    EXPECT_TRUE(silent.waitForClose());
    EXPECT_TRUE(half.waitForClose());
    EXPECT_TRUE(eventually([&] { return server.clients().empty(); }));
}

TEST_F(AServerWithLimits, ResetsAClientThatDoesNotEndItsSideAfterTheLastReply) {
    served.settings.readingTime = [](std::size_t) { return std::chrono::milliseconds(50); };
    start();
    Quarlen::Tests::RawClient client(port());
    client.send(requestWith("close"));
    EXPECT_THAT(client.receiveReply(), StartsWith("HTTP/1.1 200"));

    EXPECT_TRUE(client.waitForClose());
    EXPECT_TRUE(client.waitForReset());
}

TEST_F(AServerWithLimits, DoesNotResetAClientThatEndsItsSideAfterTheLastReply) {
    served.settings.readingTime = [](std::size_t) { return std::chrono::minutes(1); };
    start();
    Quarlen::Tests::RawClient client(port());
    client.send(requestWith("close"));
    EXPECT_THAT(client.receiveReply(), StartsWith("HTTP/1.1 200"));
    ASSERT_TRUE(client.waitForClose());

    client.stopSending();

    EXPECT_TRUE(eventually([&] { return server.clients().empty(); }));
    EXPECT_FALSE(client.waitForReset(std::chrono::milliseconds(100)));
}

TEST_F(AServerWithLimits, ResetsClientsThatHoldTheirEndAtAStopWhereTheyWouldKeepTheAddress) {
    start();
    Quarlen::Tests::RawClient client(port());
    client.send(requestWith("keep-alive"));
    EXPECT_THAT(client.receiveReply(), StartsWith("HTTP/1.1 200"));

    server.stop(address);

    EXPECT_EQ(client.waitForReset(std::chrono::milliseconds(200)),
              Platform::oldConnectionsKeepTheAddress());
}

TEST_F(AServerWithLimits, ResetsWebSocketsThatHoldTheirEndAtAStopWhereTheyWouldKeepTheAddress) {
    start();
    Quarlen::Tests::RawClient client(port());
    openWebSocket(client);

    server.stop(address);

    EXPECT_EQ(client.waitForReset(std::chrono::milliseconds(200)),
              Platform::oldConnectionsKeepTheAddress());
}

/// A busy machine may keep a client from answering for longer than a short limit.
TEST_F(AServerWithLimits, AsksAnIdleWebSocketWithAPingAndKeepsItWhenItAnswers) {
    std::string loss = "not tried";
    for (int maxIdle = 4; maxIdle <= 32 && !loss.empty(); maxIdle *= 2) {
        loss = lossOfAClientThatAnswersPings(std::chrono::seconds(maxIdle));
    }

    EXPECT_EQ(loss, "");
}

TEST_F(AServerWithLimits, ClosesAWebSocketThatAnswersNoPing) {
    served.settings.limits.maxIdle = std::chrono::seconds(1);
    start();
    const RpcTestClient client(address);

    EXPECT_TRUE(eventually([&] { return server.clients().empty(); }));
}

TEST_F(AServerWithLimits, ClosesAMessageThatIsTooLong) {
    served.settings.limits.maxMessage = 1024;
    start();
    RpcTestClient client(address);
    client.send(std::string(1024, ' '));
    EXPECT_TRUE(client.receive());

    client.send(std::string(1025, ' '));

    EXPECT_FALSE(client.receive());
    EXPECT_EQ(client.reason().code, websocket::close_code::too_big);
}

TEST_F(AServerWithLimits, RefusesABodyThatIsTooLong) {
    served.settings.limits.maxMessage = 1024;
    start();

    EXPECT_EQ(request(address, http::verb::post, "/rpc", std::string(1024, ' ')).result_int(),
              200U);
    const HttpResponse refused = request(address, http::verb::post, "/rpc", std::string(1025, ' '));

    EXPECT_EQ(refused.result_int(), 413U);
    EXPECT_EQ(refused.body(), "a body has at most 1024 bytes\n");
    EXPECT_FALSE(refused.keep_alive());
}

TEST_F(AServerWithLimits, RefusesAHeaderOfOneMegabyte) {
    served.settings.readingTime = [](std::size_t) { return std::chrono::minutes(1); };
    start();

    const std::string answer =
        answerTo("GET / HTTP/1.1\r\nX: " + std::string(1U << 20U, 'x') + "\r\n\r\n");

    EXPECT_THAT(answer, StartsWith("HTTP/1.1 431 "));
    EXPECT_THAT(answer, HasSubstr("a header has at most 8192 bytes"));
}

TEST_F(AServerWithLimits, RefusesWhatIsNoHttp) {
    start();

    EXPECT_THAT(answerTo("\x16\x03\x01\x02 TLS\r\n\r\n"), StartsWith("HTTP/1.1 400 "));
    EXPECT_THAT(answerTo("GET\r\n\r\n"), StartsWith("HTTP/1.1 400 "));
}

TEST_F(AServerWithLimits, RefusesAHandshakeThatLacksTheKey) {
    start();
    const HttpResponse refused = request(
        address, http::verb::get, "/rpc", {},
        {{"Connection", "Upgrade"}, {"Upgrade", "websocket"}, {"Sec-WebSocket-Version", "13"}});

    EXPECT_EQ(refused.result_int(), 400U);
}

TEST_F(AServerWithLimits, ClosesAClientThatDoesNotReadItsNotificationsAndKeepsTheOthers) {
    served.settings.limits.maxUnsent = 5;
    served.keepLittleUnsent();
    start();
    RpcTestClient deaf(address, {}, smallReceiveBuffer);
    RpcTestClient listening(address);
    deaf.result("status.subscribe");
    listening.result("status.subscribe");
    listening.notification("status.changed");

    for (int number = 1; number <= 10; ++number) {
        served.statuses.set(largeStatus());
        const auto message = listening.receiveText();
        ASSERT_TRUE(message);
        EXPECT_THAT(*message, testing::EndsWith("\"number\":" + std::to_string(number) + "}}"));
    }

    while (deaf.receiveText()) {
    }
    EXPECT_EQ(deaf.reason().code, websocket::close_code::policy_error);
    EXPECT_TRUE(eventually([&] { return server.clients().size() == 1; }));
}

TEST_F(AServerWithLimits, EndsAClientThatNeverReadsAgain) {
    served.settings.limits.maxUnsent = 5;
    served.keepLittleUnsent();
    // The close waits behind what the client does not take.
    served.settings.handshakeTime = std::chrono::milliseconds(500);
    start();
    RpcTestClient deaf(address, {}, smallReceiveBuffer);
    deaf.result("status.subscribe");

    for (int number = 1; number <= 10; ++number) {
        served.statuses.set(largeStatus());
    }

    EXPECT_TRUE(eventually([&] { return server.clients().empty(); }));
}

TEST_F(AServerWithLimits, AnswersBadMessagesWithTheErrorOfTheProtocol) {
    start();
    RpcTestClient client(address);

    EXPECT_EQ(errorOf(client, "{"), -32700);
    EXPECT_EQ(errorOf(client, ""), -32700);
    EXPECT_EQ(errorOf(client, std::string(100, '[') + std::string(100, ']')), -32700);
    EXPECT_EQ(errorOf(client, "1"), -32600);
    EXPECT_EQ(errorOf(client, "[]"), -32600);
    EXPECT_EQ(client.errorCode("no.method"), -32601);
    EXPECT_EQ(client.errorCode("sequence.start", {{"name", 1}}), -32602);
    EXPECT_EQ(client.result("server.version"), json::value("1.2.3"));
}

TEST_F(AServerWithLimits, ClosesABinaryMessage) {
    start();
    RpcTestClient client(address);
    client.binary = true;

    client.send("{}");

    EXPECT_FALSE(client.receive());
    EXPECT_EQ(client.reason().code, websocket::close_code::unknown_data);
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
