#include "doip/UdpQuestion.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <span>
#include <stop_token>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/udp.hpp>
#include <gtest/gtest.h>

#include "platform/ListeningSocket.hpp"
#include "uds/LinkError.hpp"

namespace Quarlen::Doip::Tests {

namespace {

using boost::asio::ip::udp;

constexpr int somePort = 13400;

udp::endpoint loopback(std::uint16_t port) {
    return {boost::asio::ip::address_v4::loopback(), port};
}

bool takeAnything(std::span<const std::uint8_t> /*datagram*/, const udp::endpoint& /*from*/) {
    return true;
}

} // namespace

TEST(UdpQuestion, GoesToAHostFromAnyAddressOfItsKind) {
    for (const auto* const host : {"192.0.2.1", "2001:db8::1"}) {
        const auto ways = UdpQuestion::waysTo(host, somePort);
        ASSERT_EQ(ways.size(), 1U);
        EXPECT_EQ(ways[0].to.address().to_string(), host);
        EXPECT_EQ(ways[0].to.port(), somePort);
        EXPECT_TRUE(ways[0].own.address().is_unspecified());
        EXPECT_EQ(ways[0].own.port(), 0);
        EXPECT_EQ(ways[0].own.protocol(), ways[0].to.protocol());
    }
}

TEST(UdpQuestion, GoesToEverybodyOnThisMachineToo) {
    const auto ways = UdpQuestion::waysToEverybody(somePort);
    for (const auto* const to : {"127.0.0.1", "127.255.255.255"}) {
        EXPECT_EQ(std::count_if(ways.begin(), ways.end(),
                                [to](const auto& way) {
                                    return way.to.address().to_string() == to &&
                                           way.own == loopback(0);
                                }),
                  1)
            << to;
    }
    for (const auto& way : ways) {
        EXPECT_EQ(way.to.port(), somePort);
    }
}

TEST(UdpQuestion, MayGoToABroadcastAddress) {
    if (Platform::socketsHearBroadcasts()) {
        // Windows delivers broadcasts to any socket of the port, and refuses to bind their address.
        GTEST_SKIP() << "a broadcast address cannot be bound there";
    }
    boost::asio::io_context context;
    udp::socket everybody(context, {boost::asio::ip::make_address_v4("127.255.255.255"), 0});
    UdpQuestion question({{loopback(0), everybody.local_endpoint()}}, {1, 2, 3}, takeAnything);
    std::stop_source stopped;
    stopped.request_stop();
    EXPECT_THROW(question.ask(std::chrono::hours(1), stopped.get_token(), {}), Uds::Cancelled);
    std::array<std::uint8_t, 10> datagram{};
    EXPECT_EQ(everybody.receive(boost::asio::buffer(datagram)), 3U);
}

TEST(UdpQuestion, ListensBesideOthersWhoShareThePort) {
    boost::asio::io_context context;
    udp::socket other(context, udp::v4());
    other.set_option(udp::socket::reuse_address(true));
    other.bind({udp::v4(), 0});
    const int port = other.local_endpoint().port();
    UdpQuestion one({}, {}, takeAnything);
    UdpQuestion another({}, {}, takeAnything);
    EXPECT_TRUE(one.listenAt(port));
    EXPECT_TRUE(another.listenAt(port));
}

} // namespace Quarlen::Doip::Tests
