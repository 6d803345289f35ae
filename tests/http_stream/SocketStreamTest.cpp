#include "http_stream/SocketStream.hpp"

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "platform/ConnectionSocket.hpp"
#include "platform/ListeningSocket.hpp"
#include "tests/support/LoopbackPort.hpp"
#include "tests/support/RawClient.hpp"

namespace Quarlen::Http::Tests {

namespace {

using Quarlen::Tests::RawClient;
using Quarlen::Tests::TakenPort;
using std::chrono::milliseconds;

constexpr milliseconds longTime{60'000};
constexpr milliseconds noTime{0};

/// A stream that lets a line through once it is whole, in capitals.
class LineStream final : public SocketStream {
public:
    using SocketStream::SocketStream;
    int requests = 0;

private:
    void beginRequest() override { ++requests; }
    std::size_t letThrough(std::span<char> bytes, bool room) override {
        std::size_t whole = room ? 0 : bytes.size();
        for (std::size_t index = 0; index < bytes.size(); ++index) {
            whole = bytes[index] == '\n' ? index + 1 : whole;
        }
        for (char& each : bytes.first(whole)) {
            each = each >= 'a' && each <= 'z' ? static_cast<char>(each - 'a' + 'A') : each;
        }
        return whole;
    }
};

/// A stream whose client is a socket of this process.
class ASocketStream : public testing::Test {
protected:
    ~ASocketStream() override { Platform::closeSocket(connection); }

    template <class Stream = SocketStream>
    std::unique_ptr<Stream> stream(SocketStream::TimeLimits limits = {longTime, longTime}) {
        return std::make_unique<Stream>(connection,
                                        SocketStream::Ends{[this] { return stops.load(); },
                                                           [this] { return makesRoom.load(); }},
                                        limits);
    }
    static std::string read(SocketStream& from, std::size_t size) {
        std::string bytes(size, '\0');
        const auto count = from.read(bytes.data(), size);
        return count < 0 ? "error" : bytes.substr(0, static_cast<std::size_t>(count));
    }
    /// Writes until the client takes no more.
    static ssize_t fill(SocketStream& to) {
        const std::string piece(1U << 20U, 'x');
        for (;;) {
            if (const ssize_t count = to.write(piece.data(), piece.size()); count <= 0) {
                return count;
            }
        }
    }

    TakenPort listening;
    RawClient client{listening.number()};
    const std::intptr_t connection = listening.accept();
    std::atomic<bool> stops{false};
    std::atomic<bool> makesRoom{false};
};

TEST_F(ASocketStream, ReadsWhatHasComeAndKeepsTheRest) {
    const auto bytes = stream();
    client.send("first,second");
    ASSERT_TRUE(bytes->waitForRequest(longTime));

    EXPECT_EQ(read(*bytes, 6), "first,");
    EXPECT_TRUE(bytes->is_readable());
    EXPECT_EQ(read(*bytes, 100), "second");
    EXPECT_FALSE(bytes->is_readable());
}

TEST_F(ASocketStream, TellsTheEndOfTheConnection) {
    const auto bytes = stream();
    client.stopSending();

    EXPECT_TRUE(bytes->waitForRequest(longTime));
    EXPECT_EQ(read(*bytes, 1), "");
    EXPECT_EQ(bytes->get_error(), httplib::Error::ConnectionClosed);
    EXPECT_FALSE(bytes->is_peer_alive());
}

TEST_F(ASocketStream, WaitsForARequestAsLongAsItIsTold) {
    EXPECT_FALSE(stream()->waitForRequest(milliseconds(10)));
}

TEST_F(ASocketStream, HasOneTimeLimitForAllBytesOfARequest) {
    const auto bytes = stream({.request = noTime, .write = longTime});
    client.send("x");
    ASSERT_TRUE(bytes->waitForRequest(longTime));
    EXPECT_EQ(read(*bytes, 1), "x");
    client.send("y");

    EXPECT_EQ(read(*bytes, 1), "error");
    EXPECT_EQ(bytes->get_error(), httplib::Error::Timeout);
}

TEST_F(ASocketStream, HasATimeLimitForEachPartOfAReply) {
    EXPECT_LT(fill(*stream({.request = longTime, .write = milliseconds(10)})), 0);
}

TEST_F(ASocketStream, WaitsForNothingOnceTheServerStops) {
    const auto bytes = stream();
    stops = true;

    EXPECT_FALSE(bytes->waitForRequest(longTime));
    EXPECT_EQ(read(*bytes, 1), "error");
    EXPECT_LT(fill(*bytes), 0);
}

TEST_F(ASocketStream, StillTakesWhatIsThereWhenTheServerStops) {
    const auto bytes = stream();
    client.send("late");
    ASSERT_TRUE(bytes->waitForRequest(longTime));
    stops = true;

    EXPECT_GT(bytes->write("bye", 3), 0);
    EXPECT_EQ(read(*bytes, 4), "late");
}

TEST_F(ASocketStream, WaitsForNothingOnceItHasToMakeRoom) {
    const auto bytes = stream();
    makesRoom = true;

    EXPECT_FALSE(bytes->waitForRequest(longTime));
    EXPECT_EQ(read(*bytes, 1), "error");
    EXPECT_TRUE(bytes->waitForClient(longTime));
}

TEST_F(ASocketStream, WaitsForTheClientToEndItsSide) {
    const auto bytes = stream();
    client.send("that nobody reads");
    client.stopSending();

    EXPECT_TRUE(bytes->waitForClient(longTime));
}

TEST_F(ASocketStream, DoesNotWaitForTheClientBeyondItsTimeOrTheGraceOfAStop) {
    const auto bytes = stream();
    EXPECT_FALSE(bytes->waitForClient(milliseconds(10)));
    stops = true;

    EXPECT_FALSE(bytes->waitForClient(std::chrono::hours(1)));
}

TEST_F(ASocketStream, ReadsNothingThatIsToBeIgnored) {
    const auto bytes = stream();
    client.send("x");
    ASSERT_TRUE(bytes->waitForRequest(longTime));
    bytes->ignoreFurtherInput();

    EXPECT_FALSE(bytes->wait_readable());
}

TEST_F(ASocketStream, CountsTheBytesOfAReply) {
    const auto bytes = stream();
    client.send("xy");
    ASSERT_TRUE(bytes->waitForRequest(longTime));
    bytes->write("12", 2);
    bytes->write("345", 3);
    EXPECT_EQ(bytes->replySize(), 5U);

    ASSERT_EQ(read(*bytes, 1), "x");
    ASSERT_TRUE(bytes->waitForRequest(longTime));

    EXPECT_EQ(bytes->replySize(), 0U);
}

TEST_F(ASocketStream, TellsBothEndsOfTheConnection) {
    std::string address;
    int port = 0;
    stream()->get_local_ip_and_port(address, port);

    EXPECT_EQ(address, "127.0.0.1");
    EXPECT_EQ(port, listening.number());
    stream()->get_remote_ip_and_port(address, port);
    EXPECT_EQ(address, "127.0.0.1");
    EXPECT_NE(port, listening.number());
}

TEST_F(ASocketStream, LetsThroughWhatItsKindOfStreamDoes) {
    const auto lines = stream<LineStream>();
    client.send("one\ntw");
    ASSERT_TRUE(lines->waitForRequest(longTime));
    EXPECT_EQ(lines->requests, 1);

    EXPECT_EQ(read(*lines, 100), "ONE\n");
    EXPECT_FALSE(lines->is_readable());
    client.send("o\n");
    EXPECT_EQ(read(*lines, 100), "TWO\n");
}

TEST_F(ASocketStream, LetsTheRestThroughAtTheEndOfTheConnection) {
    const auto lines = stream<LineStream>();
    client.send("rest");
    client.stopSending();
    ASSERT_TRUE(lines->waitForRequest(longTime));

    EXPECT_EQ(read(*lines, 100), "rest");
    EXPECT_EQ(read(*lines, 100), "");
}

} // namespace

} // namespace Quarlen::Http::Tests
