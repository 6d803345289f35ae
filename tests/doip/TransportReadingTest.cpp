#include <chrono>
#include <cstddef>
#include <cstdint>
#include <future>
#include <memory>
#include <span>
#include <string>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "doip/TcpTransport.hpp"
#include "platform/ConnectionSocket.hpp"
#include "platform/ListeningSocket.hpp"
#include "platform/SystemError.hpp"
#include "tests/doip/Watchers.hpp"

// Who reads the bytes of a connection: the I/O context, which only runs where a test lets it, or
// the test itself.

namespace Quarlen::Doip::Tests {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

class TransportReading : public testing::Test {
protected:
    using tcp = boost::asio::ip::tcp;

    void SetUp() override {
        tcp::acceptor acceptor(context, {boost::asio::ip::address_v4::loopback(), 0});
        tcp::socket tester(context);
        tester.connect(acceptor.local_endpoint());
        acceptor.accept(vehicle);
        handle = static_cast<std::intptr_t>(tester.native_handle());
        link.open();
        transport =
            std::make_shared<TcpTransport>(std::move(tester), link, Platform::systemClock());
        TcpTransport::Reader reader;
        reader.onBytes = [this](std::span<const std::uint8_t> bytes) {
            readByContext += bytes.size();
            isAwaited = isAwaited && othersWait;
        };
        reader.onEnd = [this](const std::wstring& cause) {
            ++ends;
            end = cause;
        };
        reader.isAwaited = [this] { return isAwaited; };
        transport->read(std::move(reader));
    }
    /// One byte.
    void say() { boost::asio::write(vehicle, boost::asio::buffer("7", 1)); }
    void letContextRead() {
        for (const std::size_t before = readByContext; readByContext == before;) {
            context.run_one();
        }
    }
    /// The context has read what somebody waited for.
    void answer() {
        isAwaited = true;
        say();
        letContextRead();
    }
    /// False where another thread reads.
    bool readHere() {
        return transport->readHere(60s, [this](std::span<const std::uint8_t> bytes) {
            readByCaller += bytes.size();
            isAwaited = othersWait;
        });
    }

    boost::asio::io_context context;
    std::intptr_t handle = 0;
    tcp::socket vehicle{context};
    Uds::LinkState link;
    std::shared_ptr<TcpTransport> transport;
    bool isAwaited = false;
    bool othersWait = false;
    std::size_t readByContext = 0;
    std::size_t readByCaller = 0;
    int ends = 0;
    std::wstring end;
};

} // namespace

TEST_F(TransportReading, IsTheContextsAsLongAsNobodyHasWaited) {
    say();
    ASSERT_FALSE(readHere());
    letContextRead();
    say();
    EXPECT_FALSE(readHere());
}

TEST_F(TransportReading, IsForWhoeverHasGotAnAnswerAndWaitsForTheNextOne) {
    answer();
    say();
    EXPECT_TRUE(readHere());
    say();
    EXPECT_TRUE(readHere());
    EXPECT_EQ(readByCaller, 2U);
    EXPECT_EQ(readByContext, 1U);
}

TEST_F(TransportReading, IsTheContextsAsSoonAsSomebodyWaitsForIt) {
    answer();
    {
        const std::lock_guard lock(link.mutex);
        transport->beAwaited();
    }
    say();
    ASSERT_FALSE(readHere());
    letContextRead();
}

TEST_F(TransportReading, StaysTheContextsWhereSomebodyElseWaitsToo) {
    othersWait = true;
    answer();
    say();
    EXPECT_FALSE(readHere());
}

TEST_F(TransportReading, IsHandedOverToTheContextWhereSomebodyElseHasBegunToWait) {
    answer();
    othersWait = true;
    say();
    EXPECT_TRUE(readHere());
    say();
    ASSERT_FALSE(readHere());
    letContextRead();
    EXPECT_EQ(readByCaller, 1U);
    EXPECT_EQ(readByContext, 2U);
}

TEST_F(TransportReading, IsTheContextsAgainOnceNobodyReadsForAWhile) {
    answer();
    say();
    EXPECT_TRUE(readHere());
    // It looks, and somebody has read in the meantime.
    context.run_one();
    say();
    EXPECT_TRUE(readHere());
    context.run_one();
    context.run_one();
    say();
    ASSERT_FALSE(readHere());
    letContextRead();
    EXPECT_EQ(readByContext, 2U);
}

TEST_F(TransportReading, DoesNotWakeTheContextForWhatOthersRead) {
    if (!Platform::watchersWakeForEveryArrival()) {
        // Windows wakes a thread only for the reads that it has begun itself.
        GTEST_SKIP() << "nobody wakes for what another thread reads";
    }
    EXPECT_TRUE(isWatched(handle));
    answer();
    EXPECT_FALSE(isWatched(handle));
    say();
    EXPECT_TRUE(readHere());
    // It looks, and somebody has read in the meantime.
    context.run_one();
    EXPECT_FALSE(isWatched(handle));
    context.run_one();
    EXPECT_TRUE(isWatched(handle));
}

TEST_F(TransportReading, OfOthersDoesNotStopAMessageThatWaitsForRoom) {
    const Bytes message(std::size_t{64} << 20U, 0x36);
    const TcpTransport::Writing writing{[] {}, [] {}};
    ASSERT_FALSE(transport->write({}, message, {{}, Platform::systemClock().now()}, writing));
    answer();
    auto taken = std::async(std::launch::async, [&] {
        Bytes bytes(message.size());
        boost::system::error_code end;
        return boost::asio::read(vehicle, boost::asio::buffer(bytes), end);
    });
    // Ends the reader, too, where the message does not go on.
    boost::asio::steady_timer longest(context, 60s);
    longest.async_wait([this](const auto& cancelled) {
        if (!cancelled) {
            Platform::shutDown(handle);
        }
    });
    while (taken.wait_for(0s) != std::future_status::ready) {
        context.run_one_for(10ms);
    }
    EXPECT_EQ(taken.get(), message.size());
    if (Platform::watchersWakeForEveryArrival()) {
        answer();
        EXPECT_FALSE(isWatched(handle));
    }
}

TEST_F(TransportReading, TellsWhyTheConnectionIsLost) {
    answer();
    vehicle.set_option(boost::asio::socket_base::linger(true, 0));
    vehicle.close();
    EXPECT_TRUE(readHere());
    EXPECT_EQ(ends, 1);
    // A reset may look like an end on Windows' emulation.
    if (!Platform::oldConnectionsKeepTheAddress()) {
        EXPECT_THAT(end, HasSubstr(L" is lost: " + Platform::errorText(boost::system::error_code(
                                                       boost::asio::error::connection_reset))));
    }
}

TEST_F(TransportReading, TellsTheEndOnceWhoeverFindsIt) {
    answer();
    vehicle.close();
    EXPECT_TRUE(readHere());
    EXPECT_EQ(ends, 1);
    EXPECT_THAT(end, HasSubstr(L"has closed the connection"));
    EXPECT_FALSE(readHere());
    context.run();
    EXPECT_EQ(ends, 1);
}

} // namespace Quarlen::Doip::Tests
