#include "simulation/SimulatedVehicle.hpp"

#include <atomic>
#include <thread>

#include "simulation/VehicleFile.hpp"
#include "tests/simulation/ControlUnitFixture.hpp"
#include "tests/support/TestPaths.hpp"
#include "uds/Client.hpp"
#include "uds/Connection.hpp"
#include "uds/Crc32.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Simulation::Tests {
namespace {

using namespace std::chrono_literals;

class SimulatedVehicleTest : public testing::Test {
protected:
    SimulatedVehicleTest() { connection->open({}); }

    static VehicleDescription smallVehicle() {
        auto unit = smallControlUnit();
        unit.responseDelay = 25ms;
        unit.address = 0x10;
        auto other = smallControlUnit();
        other.link = L"SECOND";
        other.address = 0x11;
        other.faults = {{hex("22 00 00"), {}, true, 0, {}}};
        return {L"VIN", {unit, other}};
    }

    std::unique_ptr<Uds::Endpoint> open(const wchar_t* link) const {
        return connection->openEndpoint(connection->resolve({link}));
    }
    void send(Uds::Endpoint& to, const char* request) const { to.send(hex(request), within(0ms)); }
    std::string receive(Uds::Endpoint& from, std::chrono::milliseconds timeout) const {
        const auto response = from.receive(within(timeout));
        return response ? hex(response->bytes) : "nothing";
    }
    [[nodiscard]] Uds::Patience within(std::chrono::milliseconds timeout) const {
        return {cancel.get_token(), clock.now() + timeout};
    }

    Quarlen::Tests::FakeClock clock;
    std::stop_source cancel;
    SimulatedVehicle vehicle{smallVehicle(), clock};
    std::shared_ptr<Uds::VehicleInterface> connection = vehicle.connect();
    std::unique_ptr<Uds::Endpoint> unit = open(L"LINK");
};

TEST_F(SimulatedVehicleTest, HasNoOtherLinksThanTheDescribedOnes) {
    try {
        static_cast<void>(connection->resolve({L"OTHER"}));
        FAIL() << "no exception";
    } catch (const Uds::LinkError& error) {
        EXPECT_EQ(error.message(), L"the vehicle has no logical link \"OTHER\"");
    }
}

TEST_F(SimulatedVehicleTest, FindsAControlUnitByItsAddressBeforeItsLink) {
    EXPECT_EQ(connection->resolve({L"LINK"}).physical, 0x10);
    EXPECT_EQ(connection->resolve({L"LINK", std::uint16_t{0x11}}).physical, 0x11);
    EXPECT_EQ(connection->resolve({L"LINK", std::uint16_t{0x77}}).physical, 0x10);
}

TEST_F(SimulatedVehicleTest, DeliversAResponseWhenItIsDue) {
    const auto begin = clock.now();
    send(*unit, "3E 00");
    const auto response = unit->receive(within(1000ms));
    ASSERT_TRUE(response);
    EXPECT_EQ(hex(response->bytes), "7E 00");
    EXPECT_EQ(response->source, 0x10);
    EXPECT_EQ(clock.now() - begin, 25ms);
}

TEST_F(SimulatedVehicleTest, DeliversAReadyResponseWithoutASleep) {
    send(*unit, "3E 00");
    clock.advance(25ms);
    EXPECT_EQ(receive(*unit, 0ms), "7E 00");
    EXPECT_TRUE(clock.sleeps().empty());
}

TEST_F(SimulatedVehicleTest, WaitsNoLongerThanItIsAskedTo) {
    send(*unit, "3E 00");
    const auto begin = clock.now();
    EXPECT_EQ(receive(*unit, 24ms), "nothing");
    EXPECT_EQ(clock.now() - begin, 24ms);
    EXPECT_EQ(receive(*unit, 1ms), "7E 00");
}

TEST_F(SimulatedVehicleTest, TakesAResponseThatWasInTimeHoweverLateItLooks) {
    send(*unit, "3E 00");
    const Uds::Patience patience = within(25ms);
    clock.advance(5000ms);
    EXPECT_TRUE(unit->receive(patience));
}

TEST_F(SimulatedVehicleTest, KeepsAResponseThatWasNotInTimeForTheNextLook) {
    send(*unit, "3E 00");
    const Uds::Patience patience = within(24ms);
    clock.advance(5000ms);
    EXPECT_FALSE(unit->receive(patience));
    EXPECT_EQ(receive(*unit, 0ms), "7E 00");
}

TEST_F(SimulatedVehicleTest, DeliversResponsesInTheOrderOfTheirTimes) {
    send(*unit, "31 01 02 04");
    send(*unit, "22 F1 90");
    EXPECT_EQ(receive(*unit, 100ms), "7F 31 78");
    EXPECT_EQ(receive(*unit, 100ms), "7F 22 21");
    EXPECT_EQ(receive(*unit, 3000ms), "7F 31 78");
}

TEST_F(SimulatedVehicleTest, KeepsItsStateOverConnections) {
    send(*unit, "14 FF FF FF");
    unit.reset();
    connection = vehicle.connect();
    connection->open({});
    const auto second = open(L"LINK");
    send(*second, "19 01 2F");
    EXPECT_EQ(receive(*second, 100ms), "59 01 FF 00 00 00");
}

TEST_F(SimulatedVehicleTest, AnswersOnlyTheEndThatAsked) {
    const auto second = open(L"LINK");
    send(*unit, "3E 00");
    EXPECT_EQ(receive(*second, 100ms), "nothing");
    EXPECT_EQ(receive(*unit, 0ms), "7E 00");
}

TEST_F(SimulatedVehicleTest, OpensAndCloses) {
    const auto other = vehicle.connect();
    EXPECT_EQ(other->state(), Uds::VehicleInterface::State::Closed);
    other->open({});
    EXPECT_EQ(other->state(), Uds::VehicleInterface::State::Open);
    other->close();
    EXPECT_EQ(other->state(), Uds::VehicleInterface::State::Closed);
    EXPECT_EQ(connection->state(), Uds::VehicleInterface::State::Open);
}

TEST_F(SimulatedVehicleTest, ClosingFreesWhoWaits) {
    clock.callAfter(100ms, [&] { connection->close(); });
    const auto begin = clock.now();
    EXPECT_THROW(static_cast<void>(unit->receive(within(1000ms))), Uds::Cancelled);
    EXPECT_LE(clock.now() - begin, 1000ms);
    EXPECT_THROW(send(*unit, "3E 00"), Uds::Cancelled);
}

TEST_F(SimulatedVehicleTest, ACancelFreesWhoWaits) {
    clock.callAfter(100ms, [&] { cancel.request_stop(); });
    const auto begin = clock.now();
    EXPECT_THROW(static_cast<void>(unit->receive(within(1000ms))), Uds::Cancelled);
    EXPECT_EQ(clock.now() - begin, 100ms);
    EXPECT_THROW(send(*unit, "3E 00"), Uds::Cancelled);
}

TEST_F(SimulatedVehicleTest, LosesTheConnectionForAllOfItsEnds) {
    std::vector<std::wstring> causes;
    const auto lost = vehicle.connect();
    lost->onLost([&](const std::wstring& cause) { causes.push_back(cause); });
    lost->open({});
    const auto first = lost->openEndpoint(lost->resolve({L"LINK"}));
    const auto second = lost->openEndpoint(lost->resolve({L"SECOND"}));
    send(*first, "3E 00");

    EXPECT_THROW(send(*second, "22 00 00"), Uds::ConnectionLost);

    EXPECT_EQ(lost->state(), Uds::VehicleInterface::State::Lost);
    EXPECT_EQ(causes, std::vector<std::wstring>{L"the connection to UNIT on SECOND was lost"});
    EXPECT_THROW(static_cast<void>(first->receive(within(100ms))), Uds::ConnectionLost);
    EXPECT_THROW(send(*second, "3E 00"), Uds::ConnectionLost);
    EXPECT_EQ(causes.size(), 1U);
    send(*unit, "3E 00");
    EXPECT_EQ(receive(*unit, 100ms), "7E 00");
}

/// All control units, as a functional address reaches them.
class AllControlUnits : public SimulatedVehicleTest {
protected:
    std::vector<std::pair<std::uint16_t, std::string>> responsesTo(const char* request) {
        const auto all = connection->openFunctional(0xE400);
        send(*all, request);
        std::vector<std::pair<std::uint16_t, std::string>> responses;
        const Uds::Patience patience = within(2000ms);
        while (const auto response = all->receive(patience)) {
            responses.emplace_back(response->source, hex(response->bytes));
        }
        return responses;
    }
    using Responses = std::vector<std::pair<std::uint16_t, std::string>>;
};

TEST_F(AllControlUnits, AnswerWithTheirAddresses) {
    EXPECT_EQ(responsesTo("3E 00"), (Responses{{0x11, "7E 00"}, {0x10, "7E 00"}}));
}

TEST_F(AllControlUnits, KeepQuietAboutWhatTheyCannotDo) {
    EXPECT_EQ(responsesTo("99"), Responses{});
    EXPECT_EQ(responsesTo("3E 05"), Responses{});
    EXPECT_EQ(responsesTo("22 12 34"), Responses{});
    EXPECT_EQ(responsesTo("27 01"), Responses{});
}

TEST_F(AllControlUnits, KeepQuietAboutWhatTheirSessionDoesNotAllow) {
    auto description = smallVehicle();
    for (auto& controlUnit : description.controlUnits) {
        controlUnit.programmingFrom = ProgrammingFrom::Extended;
    }
    SimulatedVehicle strict(description, clock);
    connection = strict.connect();
    connection->open({});
    EXPECT_EQ(responsesTo("10 02"), Responses{});
}

TEST_F(AllControlUnits, TellOtherRefusals) {
    EXPECT_EQ(responsesTo("3E 00 00"), (Responses{{0x11, "7F 3E 13"}, {0x10, "7F 3E 13"}}));
}

TEST_F(SimulatedVehicleTest, ServesSeveralThreadsAtTheSameControlUnit) {
    Uds::Connection shared(connection, clock, {60000ms, 60000ms, 120000ms},
                           [](const Uds::BusEvent&) {});
    std::vector<std::thread> threads;
    std::atomic<int> right = 0;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            auto own = shared.openLink({L"LINK"});
            Uds::Client client(own, {});
            for (int count = 0; count < 100; ++count) {
                client.request(hex("2E 01 00 2A"));
                right += client.readData(0x0100) == Uds::Bytes{0x2A} ? 1 : 0;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(right, 400);
}

/// The vehicle of the examples, as a tester sees it.
class ExampleVehicle : public testing::Test {
protected:
    ExampleVehicle() { connection->open({}); }
    Uds::VehicleLink open(const wchar_t* name) { return vehicle.openLink({name}); }

    Quarlen::Tests::FakeClock clock;
    std::shared_ptr<Uds::VehicleInterface> connection =
        openSimulatedVehicle(Quarlen::Tests::examplesFolder() / "vehicle.xml", clock).connect();
    Uds::Connection vehicle{connection, clock, {}, [](const Uds::BusEvent&) {}};
};

TEST_F(ExampleVehicle, TellsItsVinOnTheGatewaysLink) {
    auto gateway = open(L"UDS_CAN_D");
    const auto vin = Uds::Client(gateway, {}).readData(Uds::Did::vin);
    EXPECT_EQ(std::string(vin.begin(), vin.end()), "WKLDEMO0000000042");
}

TEST_F(ExampleVehicle, IsFlashedWithANewSoftwareVersion) {
    auto engine = open(L"UDS_CAN_ENGINE");
    Uds::Client client(engine, {});
    client.request(hex("10 02"));
    client.unlock(1, 0x1234ABCD);
    client.request(hex("31 01 FF 00 44 00 01 00 00 00 04 00 00"));
    EXPECT_EQ(hex(client.request(hex("34 00 44 00 01 00 00 00 00 00 0E"))), "74 20 10 00");
    client.request(hex("36 01 4B 45 4C 53 57 56 45 52 45 4E 5F 32 00 77"));
    client.request(hex("37"));
    const auto image = hex("4B 45 4C 53 57 56 45 52 45 4E 5F 32 00 77");
    auto check = hex("31 01 02 02");
    Uds::appendNumber(check, Uds::crc32(image.data(), image.size()), 4);
    EXPECT_EQ(hex(client.request(check)), "71 01 02 02 00");
    EXPECT_EQ(hex(client.readData(Uds::Did::softwareVersion)), "45 4E 5F 32");
}

TEST_F(ExampleVehicle, LetsAnUnlockedTesterWriteTheFingerprint) {
    auto gateway = open(L"UDS_CAN_D");
    Uds::Client client(gateway, {});
    client.request(hex("10 03"));
    client.unlock(1, 0x5A3C96E1);
    client.request(hex("2E F1 5A 01 02 03 04"));
    EXPECT_EQ(hex(client.readData(Uds::Did::fingerprint)), "01 02 03 04");
}

} // namespace
} // namespace Quarlen::Simulation::Tests
