#include <stdexcept>
#include <utility>

#include <boost/asio/ip/udp.hpp>
#include <gmock/gmock.h>

#include "platform/ListeningSocket.hpp"
#include "tests/support/HexBytes.hpp"
#include "tests/tools/kel_vehicle/entity/EntityFixture.hpp"

// How answers break off on request, and what becomes of a tester when the entity itself fails.

namespace Quarlen::KelVehicle::Tests {

namespace {

using namespace std::chrono_literals;
using Doip::PayloadType;
using Quarlen::Tests::hex;

class BreakingOff : public EntityTest {
protected:
    /// Two control units, the first of which takes its time.
    void startWithSlowUnit() {
        Simulation::VehicleDescription vehicle;
        for (const auto& [address, delay] : {std::pair{0x10, 10ms}, std::pair{0x11, 0ms}}) {
            Simulation::ControlUnitDescription unit;
            unit.address = static_cast<std::uint16_t>(address);
            unit.link = std::to_wstring(address);
            unit.responseDelay = delay;
            vehicle.controlUnits.push_back(unit);
        }
        startWith(vehicle);
    }
    void startWith(const Simulation::VehicleDescription& vehicle) {
        entity = std::make_unique<DoipEntity>(vehicle, clock, options);
        entity->start();
    }
    void breakOff(const char* request) {
        ASSERT_TRUE(entity->add({MisbehaviourKind::Cut, hex(request), {}, 1, {}, {}, 0}));
    }
};

} // namespace

TEST_F(BreakingOff, CutsTheAnswerThatComesLastOfTheAnswersOfAll) {
    startWithSlowUnit();
    breakOff("3E 00");
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    tester.request(hex("3E 00"), 0xE400);
    ASSERT_TRUE(tester.isAcknowledged());
    const auto first = tester.receive();
    ASSERT_TRUE(first && first->is(PayloadType::DiagnosticMessage));
    EXPECT_EQ(Doip::decodeDiagnosticMessage(first->payload).source, 0x11);
    pass(10ms);
    EXPECT_TRUE(tester.isClosed());
    // Where a reset may overtake what has not been read, the half may be lost.
    EXPECT_TRUE(tester.isInMessage() || Platform::oldConnectionsKeepTheAddress());
}

TEST_F(BreakingOff, ResetsTheConnectionAlsoWhereNothingIsAnswered) {
    startWithSlowUnit();
    breakOff("3E 80");
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    tester.request(hex("3E 80"));
    EXPECT_TRUE(tester.isAcknowledged() || Platform::oldConnectionsKeepTheAddress());
    EXPECT_TRUE(tester.isReset() || Platform::oldConnectionsKeepTheAddress());
    EXPECT_EQ(entity->testerCount(), 0U);
}

TEST_F(BreakingOff, LeavesAMessageThatIsBeingSentInItsMiddle) {
    startWithSlowUnit();
    ASSERT_TRUE(entity->add({MisbehaviourKind::Slow, hex("22"), {}, 1, {}, 1h, 0}));
    breakOff("3E 00");
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    tester.request(hex("22 F1 90"), 0x11);
    ASSERT_TRUE(tester.isAcknowledged());
    tester.request(hex("3E 00"), 0x11);
    EXPECT_TRUE(tester.isClosed());
    // Its first byte only: no half of another message stands in it.
    const auto whole =
        Doip::encode(PayloadType::RoutingActivationResponse,
                     Doip::encode(Doip::RoutingActivationResponse{0x0E80, 0x1000, activated}))
            .size() +
        Doip::encode(PayloadType::DiagnosticMessageAck,
                     Doip::encode(Doip::DiagnosticAck{0x11, 0x0E80}))
            .size();
    EXPECT_LE(tester.bytes(), whole + 1);
    EXPECT_EQ(entity->testerCount(), 0U);
}

TEST_F(BreakingOff, AFailureOfTheEntityEndsItsTesterOnly) {
    options.log = [](const std::string& line) {
        if (line.find("22 F1 90") != std::string::npos) {
            throw std::runtime_error("no room for a line");
        }
    };
    startWithSlowUnit();
    ScriptedTester tester(entity->port());
    ScriptedTester other(entity->port());
    ASSERT_EQ(tester.activate(0x0E80), activated);
    ASSERT_EQ(other.activate(0x0E81), activated);
    tester.request(hex("22 F1 90"));
    EXPECT_TRUE(tester.isClosed());
    other.request(hex("3E 00"), 0x11, 0x0E81);
    EXPECT_TRUE(other.isAcknowledged());
    EXPECT_EQ(entity->testerCount(), 1U);
}

TEST_F(BreakingOff, AFailureOfTheEntityCostsOneDatagramOnly) {
    bool hasFailed = false;
    options.log = [&](const std::string& line) {
        if (line.find("identified the vehicle") != std::string::npos &&
            !std::exchange(hasFailed, true)) {
            throw std::runtime_error("no room for a line");
        }
    };
    startWithSlowUnit();
    using boost::asio::ip::udp;
    boost::asio::io_context context;
    const auto loopback = boost::asio::ip::address_v4::loopback();
    udp::socket socket(context, {loopback, 0});
    const auto question = Doip::encode(PayloadType::VehicleIdentificationRequest, {});
    for (int time = 0; time < 2; ++time) {
        socket.send_to(boost::asio::buffer(question), {loopback, entity->port()});
    }
    std::array<std::uint8_t, 1024> bytes{};
    const auto size = socket.receive(boost::asio::buffer(bytes));
    EXPECT_TRUE(
        Doip::decodeDatagram(std::span(bytes).first(size)).is(PayloadType::VehicleAnnouncement));
}

} // namespace Quarlen::KelVehicle::Tests
