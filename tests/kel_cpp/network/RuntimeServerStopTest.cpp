#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/kel_cpp/network/NetworkTesting.hpp"
#include "tests/kel_cpp/network/RpcTestClient.hpp"
#include "tests/kel_cpp/network/ServedRuntime.hpp"
#include "tests/support/RawClient.hpp"

namespace Quarlen::Kel_cpp::Tests {
namespace {

/// A server whose clients have an hour for everything, so that a stop which waits for one is seen.
class AStopOfTheServer : public testing::Test {
protected:
    AStopOfTheServer() {
        served.keepLittleUnsent();
        served.settings.readingTime = [this](std::size_t) {
            ++endings;
            return std::chrono::hours(1);
        };
    }
    void start() { address = server.start(L"127.0.0.1:0"); }
    std::unique_ptr<RpcTestClient> subscribed() {
        auto client = std::make_unique<RpcTestClient>(address, Headers{}, smallReceiveBuffer);
        client->result("status.subscribe");
        return client;
    }
    void sayMuch(int count) {
        for (int number = 1; number <= count; ++number) {
            served.statuses.set(largeStatus());
        }
        letTheServerCatchUp();
    }
    /// The network thread has done what came before once it serves this.
    void letTheServerCatchUp() const { request(address, http::verb::get, "/"); }
    /// False when it waits for a client.
    bool stops() {
        stopping = std::async(std::launch::async, [this] { server.stop(address); });
        return stopping.wait_for(Quarlen::Tests::RawClient::patience) == std::future_status::ready;
    }
    [[nodiscard]] std::uint16_t port() const {
        return static_cast<std::uint16_t>(std::stoul(address.substr(address.rfind(L':') + 1)));
    }

    std::atomic<int> endings{0};
    ServedRuntime served;
    RuntimeServer server{served.sources()};
    std::wstring address;
    std::future<void> stopping;
};

TEST_F(AStopOfTheServer, DoesNotWaitForAClientThatTakesNothing) {
    start();
    const auto deaf = subscribed();
    sayMuch(3);

    EXPECT_TRUE(stops());
}

TEST_F(AStopOfTheServer, DoesNotWaitForAClientThatIsBeingClosedAndTakesNothing) {
    served.settings.limits.maxUnsent = 2;
    start();
    const auto deaf = subscribed();
    sayMuch(6);

    EXPECT_TRUE(stops());
}

TEST_F(AStopOfTheServer, DoesNotWaitForAClientThatHasGoneWithoutTakingWhatIsSent) {
    start();
    const auto deaf = subscribed();
    const auto gone = subscribed();
    sayMuch(3);
    gone->vanish();

    EXPECT_TRUE(stops());
}

TEST_F(AStopOfTheServer, DoesNotWaitForAClientThatTakesNoAnswers) {
    served.scripts = std::vector<std::wstring>(5000, L"Script.xml");
    start();
    const auto deaf = subscribed();
    for (int call = 1; call <= 20; ++call) {
        deaf->send(R"({"jsonrpc":"2.0","id":1,"method":"sequence.list"})");
    }
    letTheServerCatchUp();

    EXPECT_TRUE(stops());
}

TEST_F(AStopOfTheServer, DoesNotWaitForLongTextsThatKeepComing) {
    start();
    const auto deaf = subscribed();
    const std::jthread speaker([this](const std::stop_token& end) {
        while (!end.stop_requested()) {
            served.statuses.set(largeStatus());
        }
    });
    letTheServerCatchUp();

    EXPECT_TRUE(stops());
}

TEST_F(AStopOfTheServer, TakesNoLongReplyFromAClient) {
    served.settings.sendBuffer.reset();
    served.report = [](const std::wstring&) { return std::string(100'000, 'x'); };
    start();
    Quarlen::Tests::RawClient client(port());
    client.send("GET /reports/a.html HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port()) +
                "\r\nConnection: close\r\n\r\n");
    // The reply has been written, and nothing of it been read.
    ASSERT_TRUE(eventually([&] { return endings == 1; }));

    EXPECT_TRUE(stops());

    EXPECT_THAT(client.receiveReply(), testing::EndsWith(std::string(100'000, 'x')));
    EXPECT_FALSE(client.waitForReset(std::chrono::milliseconds(300)));
}

} // namespace
} // namespace Quarlen::Kel_cpp::Tests
