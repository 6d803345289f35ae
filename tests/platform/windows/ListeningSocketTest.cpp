#include "platform/ListeningSocket.hpp"

#include <chrono>
#include <future>
#include <thread>
#include <vector>
#include <winsock2.h>

#include <gtest/gtest.h>

#include "platform/NextClient.hpp"
#include "platform/SystemPaths.hpp"
#include "platform/windows/ClientWait.hpp"
#include "tests/support/FakeClock.hpp"

namespace Quarlen::Platform::Tests {

namespace {

class ListeningSocket : public testing::Test {
protected:
    ListeningSocket() {
        WSADATA data{};
        ::WSAStartup(MAKEWORD(2, 2), &data);
        first = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
        second = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    }
    ~ListeningSocket() override {
        ::closesocket(first);
        ::closesocket(second);
        ::WSACleanup();
    }
    ListeningSocket(const ListeningSocket&) = delete;
    ListeningSocket& operator=(const ListeningSocket&) = delete;

    /// Port 0 is one that the system chooses.
    static bool bind(SOCKET socket, u_short port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = port;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return ::bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    /// In the byte order of the network.
    static u_short portOf(SOCKET socket) {
        sockaddr_in address{};
        int size = sizeof address;
        ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
        return address.sin_port;
    }

    SOCKET first = INVALID_SOCKET;
    SOCKET second = INVALID_SOCKET;
};

TEST_F(ListeningSocket, IsNotSharedWithAnotherThatClaimsItsAddress) {
    bindExclusively(static_cast<std::intptr_t>(first));
    bindExclusively(static_cast<std::intptr_t>(second));
    ASSERT_TRUE(bind(first, 0));
    ASSERT_EQ(::listen(first, 1), 0);

    EXPECT_FALSE(bind(second, portOf(first)));
}

TEST_F(ListeningSocket, IsNotSharedWithAnotherThatWouldShareIt) {
    bindExclusively(static_cast<std::intptr_t>(first));
    const BOOL on = TRUE;
    ::setsockopt(second, SOL_SOCKET, SO_REUSEADDR, reinterpret_cast<const char*>(&on), sizeof on);
    ASSERT_TRUE(bind(first, 0));
    ASSERT_EQ(::listen(first, 1), 0);

    EXPECT_FALSE(bind(second, portOf(first)));
}

TEST_F(ListeningSocket, IsTriedAgainAfterAPauseWhereWaitingForItFails) {
    constexpr int maxTries = 3;
    ASSERT_TRUE(bind(first, 0));
    ASSERT_EQ(::listen(first, 1), 0);
    int tries = 0;
    const ClientWait failing = [](SOCKET) {
        ::WSASetLastError(WSAENOBUFS);
        return SOCKET_ERROR;
    };
    const auto accept = [&](std::intptr_t listening) {
        ++tries;
        return acceptAfter(failing, listening);
    };
    const auto listening = [&] {
        return tries < maxTries ? static_cast<std::intptr_t>(first) : noSocket;
    };
    Quarlen::Tests::FakeClock clock;

    EXPECT_EQ(nextClient(listening, {.clock = clock, .accept = accept}), noSocket);
    EXPECT_EQ(clock.sleeps(), std::vector(maxTries, std::chrono::milliseconds(50)));
}

/// Connects after a while unless it is told that nobody is waited for.
class LateClient {
public:
    explicit LateClient(SOCKET listening) : listening(listening) {}
    LateClient(const LateClient&) = delete;
    LateClient& operator=(const LateClient&) = delete;
    ~LateClient() {
        isNeedless.set_value();
        thread.join();
        ::closesocket(client);
    }

private:
    void run() {
        constexpr std::chrono::seconds patience{20};
        if (isNeedless.get_future().wait_for(patience) == std::future_status::timeout) {
            sockaddr_in address{};
            int size = sizeof address;
            ::getsockname(listening, reinterpret_cast<sockaddr*>(&address), &size);
            ::connect(client, reinterpret_cast<const sockaddr*>(&address), size);
        }
    }

    SOCKET listening;
    SOCKET client = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    std::promise<void> isNeedless;
    std::thread thread{[this] { run(); }};
};

TEST_F(ListeningSocket, IsNotWaitedForWhereTheClientHasGoneMeanwhile) {
    ASSERT_TRUE(bind(first, 0));
    ASSERT_EQ(::listen(first, 1), 0);
    const LateClient helper(first);

    const Accepted accepted =
        acceptAfter([](SOCKET) { return 1; }, static_cast<std::intptr_t>(first));

    EXPECT_EQ(accepted.connection, noSocket);
    EXPECT_EQ(acceptFaultOf(accepted.error.value()), AcceptFault::NobodyCame) << accepted.error;
}

TEST(AcceptFaultOfWinsock, FindsNoFaultInAnEmptyQueue) {
    EXPECT_EQ(acceptFaultOf(WSAEWOULDBLOCK), AcceptFault::NobodyCame);
}

} // namespace

} // namespace Quarlen::Platform::Tests
