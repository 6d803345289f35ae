#include <array>
#include <cerrno>
#include <optional>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "kel_server_lib/http/Connections.hpp"

namespace Quarlen::Rest::Tests {

namespace {

/// What becomes of a connection's reading when it has to make room or the server stops.
class ConnectionReading : public testing::Test {
protected:
    ConnectionReading() {
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()), 0);
    }
    ConnectionReading(const ConnectionReading&) = delete;
    ConnectionReading& operator=(const ConnectionReading&) = delete;
    ~ConnectionReading() override {
        for (const int socket : sockets) {
            ::close(socket);
        }
    }

    [[nodiscard]] bool readingHasEnded() const {
        char byte = 0;
        const auto count = ::recv(sockets[0], &byte, 1, MSG_DONTWAIT);
        EXPECT_TRUE(count == 0 || (count < 0 && errno == EAGAIN));
        return count == 0;
    }
    [[nodiscard]] bool canWrite() const { return ::send(sockets[0], "x", 1, MSG_NOSIGNAL) == 1; }

    std::array<int, 2> sockets{};
    Connections connections;
};

/// With a connection that waits for its first request.
class ReadingOfAConnection : public ConnectionReading {
protected:
    void SetUp() override { ASSERT_TRUE(entry->waitForRequest()); }

    std::optional<Connections::Entry> entry{std::in_place, connections, sockets[0]};
};

TEST_F(ReadingOfAConnection, EndsWhereItHasToMakeRoom) {
    ASSERT_FALSE(readingHasEnded());

    ASSERT_TRUE(connections.makeRoom());

    EXPECT_TRUE(readingHasEnded());
    EXPECT_TRUE(canWrite());
}

TEST_F(ReadingOfAConnection, EndsAtAStopWhileItWaitsForARequest) {
    connections.stop();

    EXPECT_TRUE(readingHasEnded());
    EXPECT_TRUE(canWrite());
    EXPECT_FALSE(entry->hasToEnd());
}

TEST_F(ReadingOfAConnection, GoesOnAtAStopWhileARequestComes) {
    ASSERT_TRUE(entry->receiveRequest());

    connections.stop();

    EXPECT_FALSE(readingHasEnded());
}

TEST_F(ReadingOfAConnection, GoesOnAtAStopWhileARequestIsServed) {
    ASSERT_TRUE(entry->receiveRequest());
    ASSERT_TRUE(entry->serveRequest());

    connections.stop();

    EXPECT_FALSE(readingHasEnded());
}

TEST_F(ConnectionReading, EndsWhereTheWaitBeginsAfterTheStop) {
    Connections::Entry entry(connections, sockets[0]);
    connections.stop();
    ASSERT_FALSE(readingHasEnded());

    ASSERT_TRUE(entry.waitForRequest());

    EXPECT_TRUE(readingHasEnded());
}

TEST_F(ReadingOfAConnection, IsLeftAloneOnceTheConnectionIsGone) {
    entry.reset();

    connections.stop();

    EXPECT_FALSE(readingHasEnded());
    EXPECT_FALSE(connections.makeRoom());
}

} // namespace

} // namespace Quarlen::Rest::Tests
