#include "doip/WatchedSocket.hpp"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <gtest/gtest.h>

#include "platform/ConnectionSocket.hpp"
#include "tests/doip/Watchers.hpp"

namespace Quarlen::Doip::Tests {

namespace {

class AWatchedSocket : public testing::Test {
protected:
    using tcp = boost::asio::ip::tcp;

    AWatchedSocket() {
        tcp::acceptor acceptor(peersContext, {boost::asio::ip::address_v4::loopback(), 0});
        tcp::socket connected(*context);
        connected.connect(acceptor.local_endpoint());
        acceptor.accept(peer);
        socket = std::make_shared<WatchedSocket>(std::move(connected));
    }
    char next() {
        char byte = 0;
        boost::asio::write(peer, boost::asio::buffer("7", 1));
        socket->watched().async_read_some(boost::asio::buffer(&byte, 1), [](auto, auto) {});
        context->restart();
        context->run();
        return byte;
    }
    void expectThatPeerSeesTheEnd() {
        const auto own = static_cast<std::intptr_t>(peer.native_handle());
        ASSERT_TRUE(Platform::isReadable(own, std::chrono::seconds(60)));
        EXPECT_FALSE(Platform::isPeerConnected(own));
    }

    boost::asio::io_context peersContext;
    std::optional<boost::asio::io_context> context{std::in_place};
    tcp::socket peer{peersContext};
    std::shared_ptr<WatchedSocket> socket;
};

} // namespace

TEST_F(AWatchedSocket, IsReadByTheContextAgainAfterItWasLeftAlone) {
    const auto handle = socket->handle();
    EXPECT_EQ(next(), '7');
    for (int time = 0; time < 2; ++time) {
        socket->leaveAlone();
        socket->leaveAlone();
        EXPECT_EQ(next(), '7');
        EXPECT_EQ(socket->handle(), handle);
    }
}

TEST_F(AWatchedSocket, IsWatchedOnlyWhileItIsNotLeftAlone) {
    if (!Platform::watchersWakeForEveryArrival()) {
        // Windows wakes a thread only for the reads that it has begun itself.
        GTEST_SKIP() << "nobody wakes for what another thread reads";
    }
    EXPECT_TRUE(isWatched(socket->handle()));
    socket->leaveAlone();
    EXPECT_FALSE(isWatched(socket->handle()));
    socket->watched();
    EXPECT_TRUE(isWatched(socket->handle()));
}

TEST_F(AWatchedSocket, EndsWithItsConnection) {
    socket.reset();
    expectThatPeerSeesTheEnd();
}

TEST_F(AWatchedSocket, EndsWithItsConnectionAlsoWhileItIsLeftAlone) {
    socket->leaveAlone();
    socket.reset();
    expectThatPeerSeesTheEnd();
}

TEST_F(AWatchedSocket, EndsWithTheLastHandlerOfItsContext) {
    boost::asio::post(*context, [own = std::move(socket)] {});
    context.reset();
    expectThatPeerSeesTheEnd();
}

TEST_F(AWatchedSocket, EndsWithTheLastHandlerOfItsContextAlsoWhileItIsLeftAlone) {
    socket->leaveAlone();
    boost::asio::post(*context, [own = std::move(socket)] {});
    context.reset();
    expectThatPeerSeesTheEnd();
}

} // namespace Quarlen::Doip::Tests
