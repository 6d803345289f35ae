#include "tools/kel_vehicle/entity/Discovery.hpp"

#include <array>
#include <chrono>
#include <string>

#include <boost/asio/ip/udp.hpp>

#include "platform/ListeningSocket.hpp"
#include "tests/support/HexBytes.hpp"
#include "tests/tools/kel_vehicle/entity/EntityFixture.hpp"

namespace Quarlen::KelVehicle::Tests {
namespace {

using namespace std::chrono_literals;
using boost::asio::ip::udp;
using Doip::PayloadType;
using Quarlen::Tests::hex;
using testing::ElementsAre;
using testing::HasSubstr;

/// On Windows, whose emulation is strict about it.
constexpr const char* portsAreNotShared = "sockets of different addresses do not share a port here";

class DiscoveryTest : public EntityTest {
protected:
    Doip::Message ask(const Doip::Bytes& datagram) {
        send(datagram);
        return receive();
    }
    Doip::Message receive() { return receive(socket); }
    static Doip::Message receive(udp::socket& from) {
        std::array<std::uint8_t, 2048> bytes{};
        const auto size = from.receive(boost::asio::buffer(bytes));
        return Doip::decodeDatagram(std::span(bytes).first(size));
    }
    /// True as soon as a datagram is there.
    bool hears(std::chrono::seconds limit) {
        bool isThere = false;
        socket.async_wait(udp::socket::wait_read, [&](const auto& error) { isThere = !error; });
        context.run_for(limit);
        socket.cancel();
        context.restart();
        context.run();
        return isThere;
    }
    /// At the port of such a socket. What is free over UDP need not be free over TCP.
    template <class MakeSocket>
    udp::socket startBeside(MakeSocket makeSocket,
                            Platform::Clock& time = Platform::systemClock()) {
        constexpr int attempts = 1000;
        for (int attempt = 1;; ++attempt) {
            udp::socket beside = makeSocket();
            options.port = beside.local_endpoint().port();
            log.clear();
            try {
                start(time);
                return beside;
            } catch (const std::runtime_error&) {
                if (attempt == attempts) {
                    throw;
                }
            }
        }
    }
    /// Beside another machine, as far as that can be had.
    void startAnnouncing() {
        options.announceTo = "127.0.0.2";
        listener = startBeside(
            [this] {
                return udp::socket(context, {boost::asio::ip::make_address_v4("127.0.0.2"), 0});
            },
            clock);
    }
    udp::socket listenerEverywhere(std::uint16_t port) {
        udp::socket everywhere(context, udp::v4());
        everywhere.set_option(boost::asio::socket_base::reuse_address(true));
        everywhere.bind({boost::asio::ip::address_v4::any(), port});
        return everywhere;
    }
    Doip::Message announced() { return receive(listener); }
    void send(const Doip::Bytes& datagram) {
        socket.send_to(boost::asio::buffer(datagram),
                       {boost::asio::ip::address_v4::loopback(), entity->port()});
    }

    boost::asio::io_context context;
    udp::socket socket{context, {boost::asio::ip::address_v4::loopback(), 0}};
    udp::socket listener{context, udp::v4()};
};

TEST_F(DiscoveryTest, IdentifiesTheVehicleInTheVersionOfWhoeverAsks) {
    start();
    const auto response = ask(hex("02 FD 00 01 00 00 00 00"));
    EXPECT_EQ(response.version, 2);
    const auto announcement = Doip::decodeVehicleAnnouncement(response.payload);
    EXPECT_EQ(announcement.vin, "VIN00000000000001");
    EXPECT_EQ(announcement.logicalAddress, 0x1000);
    EXPECT_EQ(announcement.eid, (Doip::EntityId{2, 0, 0, 0, 0, 1}));
    EXPECT_EQ(announcement.gid, (Doip::EntityId{2, 0, 0, 0, 0, 9}));
    EXPECT_EQ(announcement.furtherAction, 0x00);
    EXPECT_EQ(announcement.syncStatus, std::uint8_t{0x00});
}

TEST_F(DiscoveryTest, TellsStatusAndPowerMode) {
    start();
    const auto status =
        Doip::decodeEntityStatus(ask(Doip::encode(PayloadType::EntityStatusRequest, {})).payload);
    EXPECT_TRUE(status.isGateway);
    EXPECT_EQ(status.maxSockets, 255);
    EXPECT_EQ(status.openSockets, 0);
    EXPECT_EQ(status.maxDataSize, maxRequest);
    EXPECT_EQ(Doip::decodePowerMode(ask(Doip::encode(PayloadType::PowerModeRequest, {})).payload),
              0x01);
}

TEST_F(DiscoveryTest, CountsTheTestersWhoseRoutingIsActive) {
    options.maxSockets = 3;
    start();
    const auto openSockets = [this] {
        const auto status = Doip::decodeEntityStatus(
            ask(Doip::encode(PayloadType::EntityStatusRequest, {})).payload);
        EXPECT_EQ(status.maxSockets, 3);
        return int{status.openSockets};
    };
    ScriptedTester idle(entity->port());
    ScriptedTester tester(entity->port());
    // Both are in by then.
    ASSERT_EQ(tester.activate(), activated);
    EXPECT_EQ(openSockets(), 1);
    ASSERT_EQ(idle.activate(0x0E81), activated);
    EXPECT_EQ(openSockets(), 2);
}

TEST_F(DiscoveryTest, LogsWhatItIsAsked) {
    start();
    ask(Doip::encode(PayloadType::EntityStatusRequest, {}));
    ask(Doip::encode(PayloadType::PowerModeRequest, {}));
    ask(Doip::encode(PayloadType::VehicleIdentificationRequest, {}));
    ask(Doip::encode(PayloadType::PowerModeRequest, hex("00")));
    entity->stop();
    EXPECT_THAT(log, ElementsAre(HasSubstr("asked for the entity status"),
                                 HasSubstr("asked for the power mode"),
                                 HasSubstr("identified the vehicle"),
                                 HasSubstr("refused over UDP: power mode request (0x4003) with a "
                                           "payload")));
}

TEST_F(DiscoveryTest, BeginsWhereSomebodyListensToAnnouncements) {
    if (Platform::socketsHearBroadcasts()) {
        GTEST_SKIP() << portsAreNotShared;
    }
    const auto everywhere = startBeside([this] { return listenerEverywhere(0); });
    EXPECT_TRUE(
        ask(Doip::encode(PayloadType::PowerModeRequest, {})).is(PayloadType::PowerModeResponse));
}

TEST_F(DiscoveryTest, LetsSomebodyListenToAnnouncements) {
    if (Platform::socketsHearBroadcasts()) {
        GTEST_SKIP() << portsAreNotShared;
    }
    start();
    EXPECT_NO_THROW(listenerEverywhere(entity->port()));
    EXPECT_TRUE(
        ask(Doip::encode(PayloadType::PowerModeRequest, {})).is(PayloadType::PowerModeResponse));
}

TEST_F(DiscoveryTest, SaysThatItHearsNoBroadcasts) {
    if (Platform::socketsHearBroadcasts()) {
        GTEST_SKIP() << "no other socket can take them there";
    }
    const auto taken = startBeside([this] {
        return udp::socket(context, {broadcastOf(boost::asio::ip::address_v4::loopback()), 0});
    });
    entity->stop();
    EXPECT_THAT(log,
                ElementsAre(HasSubstr("hears no broadcasts, whoever looks for vehicles does not "
                                      "find it: 127.255.255.255:" +
                                      std::to_string(options.port) + ": ")));
}

TEST_F(DiscoveryTest, RefusesWhatIsNoQuestion) {
    start();
    const auto refusal = [this](const Doip::Bytes& datagram) {
        return int{Doip::decodeHeaderNack(ask(datagram).payload)};
    };
    EXPECT_EQ(refusal(hex("03 FD 00 01 00 00 00 00")), 0x00);
    EXPECT_EQ(refusal(hex("03 FC 12 34 00 00 00 00")), 0x01);
    awaitLog(" refused over UDP: unknown payload type (0x1234): unknown payload type (0x01)");
    EXPECT_EQ(refusal(hex("03 FC 00 01 00 00 00 01 00")), 0x04);
    EXPECT_EQ(refusal(hex("03 FC 00 01 00 00 00 01")), 0x04);
}

TEST_F(DiscoveryTest, ServesNobodyWithoutAVersionButWhoLooksForVehicles) {
    start();
    EXPECT_TRUE(ask(hex("FF 00 00 01 00 00 00 00")).is(PayloadType::VehicleAnnouncement));
    for (const auto* const question : {"FF 00 40 01 00 00 00 00", "FF 00 40 03 00 00 00 00"}) {
        const auto refusal = ask(hex(question));
        ASSERT_TRUE(refusal.is(PayloadType::HeaderNack)) << question;
        EXPECT_EQ(Doip::decodeHeaderNack(refusal.payload), 0x00) << question;
    }
}

TEST_F(DiscoveryTest, RefusesInTheVersionOfWhoeverAsksOrInOneThatIsServed) {
    start();
    EXPECT_EQ(ask(hex("02 FD 00 01 00 00 00 01 00")).version, Doip::version2012);
    EXPECT_EQ(ask(hex("04 FB 12 34 00 00 00 00")).version, Doip::version2025);
    EXPECT_EQ(ask(hex("01 FE 00 01 00 00 00 00")).version, Doip::version2019);
    EXPECT_EQ(ask(hex("FF 00 00 01 00 00 00 01 00")).version, Doip::version2019);
    EXPECT_EQ(ask(hex("03 FD 00 01 00 00 00 00")).version, Doip::version2019);
}

TEST_F(DiscoveryTest, SaysNothingToOtherEntitiesAndToThoseWhoCallOthers) {
    start();
    send(Doip::encode(PayloadType::HeaderNack, hex("00")));
    send(Doip::encode(PayloadType::VehicleAnnouncement, {}));
    send(Doip::encode(PayloadType::EntityStatusResponse, {}));
    send(Doip::encode(PayloadType::PowerModeResponse, {}));
    send(Doip::encode(PayloadType::VehicleIdentificationRequestWithEid,
                      Doip::encodeEid({2, 0, 0, 0, 0, 2})));
    send(Doip::encode(PayloadType::VehicleIdentificationRequestWithVin,
                      Doip::encodeVin("VIN00000000000002")));
    send(hex("03 FC"));
    EXPECT_TRUE(
        ask(Doip::encode(PayloadType::PowerModeRequest, {})).is(PayloadType::PowerModeResponse));
}

TEST_F(DiscoveryTest, IdentifiesTheVehicleThatIsCalledByItsVinOrEid) {
    start();
    EXPECT_TRUE(ask(Doip::encode(PayloadType::VehicleIdentificationRequestWithVin,
                                 Doip::encodeVin("VIN00000000000001")))
                    .is(PayloadType::VehicleAnnouncement));
    EXPECT_TRUE(ask(Doip::encode(PayloadType::VehicleIdentificationRequestWithEid,
                                 Doip::encodeEid({2, 0, 0, 0, 0, 1})))
                    .is(PayloadType::VehicleAnnouncement));
}

TEST_F(DiscoveryTest, RefusesARequestThatIsCutOrTooLong) {
    start();
    const auto refusal = [this](PayloadType type, std::size_t size) {
        return int{
            Doip::decodeHeaderNack(ask(Doip::encode(type, Doip::Bytes(size, 0x41))).payload)};
    };
    for (std::size_t size = 0; size < 17; ++size) {
        EXPECT_EQ(refusal(PayloadType::VehicleIdentificationRequestWithVin, size), 0x04) << size;
    }
    for (std::size_t size = 0; size < 6; ++size) {
        EXPECT_EQ(refusal(PayloadType::VehicleIdentificationRequestWithEid, size), 0x04) << size;
    }
    EXPECT_EQ(refusal(PayloadType::EntityStatusRequest, 1), 0x04);
    EXPECT_EQ(refusal(PayloadType::PowerModeRequest, 1), 0x04);
    EXPECT_EQ(refusal(PayloadType::VehicleIdentificationRequest, 1), 0x04);
    EXPECT_EQ(refusal(PayloadType::VehicleIdentificationRequest, 2048), 0x04);
}

TEST_F(DiscoveryTest, HearsWhoCallsEverybody) {
    start();
    socket.set_option(boost::asio::socket_base::broadcast(true));
    boost::system::error_code error;
    const auto call = [&](PayloadType type, const Doip::Bytes& payload) {
        socket.send_to(boost::asio::buffer(Doip::encode(type, payload)),
                       {boost::asio::ip::make_address_v4("127.255.255.255"), entity->port()}, 0,
                       error);
    };
    call(PayloadType::VehicleIdentificationRequestWithVin, Doip::encodeVin("VIN00000000000001"));
    if (error || !hears(Platform::socketsHearBroadcasts() ? 1s : 30s)) {
        GTEST_SKIP() << "this system has no broadcasts to itself";
    }
    EXPECT_TRUE(receive().is(PayloadType::VehicleAnnouncement));
    call(PayloadType::VehicleIdentificationRequestWithEid, Doip::encodeEid({2, 0, 0, 0, 0, 1}));
    EXPECT_TRUE(receive().is(PayloadType::VehicleAnnouncement));
}

TEST_F(DiscoveryTest, AnnouncesTheVehicleThreeTimesHalfASecondApart) {
    if (Platform::socketsHearBroadcasts()) {
        GTEST_SKIP() << portsAreNotShared;
    }
    startAnnouncing();
    const auto first = announced();
    EXPECT_TRUE(first.is(PayloadType::VehicleAnnouncement));
    EXPECT_EQ(first.version, Doip::version2019);
    EXPECT_EQ(Doip::decodeVehicleAnnouncement(first.payload).vin, "VIN00000000000001");
    pass(499ms);
    EXPECT_EQ(listener.available(), 0U);
    pass(1ms);
    EXPECT_TRUE(announced().is(PayloadType::VehicleAnnouncement));
    pass(500ms);
    EXPECT_TRUE(announced().is(PayloadType::VehicleAnnouncement));
    pass(1h);
    EXPECT_EQ(listener.available(), 0U);
}

TEST_F(DiscoveryTest, AnnouncesTheVehicleToEverybody) {
    if (Platform::socketsHearBroadcasts()) {
        GTEST_SKIP() << "no other socket can take them there";
    }
    auto everybody = startBeside([this] {
        return udp::socket(context, {broadcastOf(boost::asio::ip::address_v4::loopback()), 0});
    });
    EXPECT_TRUE(receive(everybody).is(PayloadType::VehicleAnnouncement));
}

TEST(Broadcast, GoesToTheOwnMachineOrToTheNetwork) {
    const auto to = [](const char* own) {
        return broadcastOf(boost::asio::ip::make_address_v4(own)).to_string();
    };
    EXPECT_EQ(to("127.0.0.1"), "127.255.255.255");
    EXPECT_EQ(to("127.1.2.3"), "127.255.255.255");
    EXPECT_EQ(to("192.0.2.1"), "255.255.255.255");
}

} // namespace
} // namespace Quarlen::KelVehicle::Tests
