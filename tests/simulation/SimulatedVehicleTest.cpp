#include "simulation/SimulatedVehicle.hpp"

#include <atomic>
#include <thread>

#include "simulation/VehicleFile.hpp"
#include "tests/simulation/ControlUnitFixture.hpp"
#include "tests/support/TestPaths.hpp"
#include "uds/Client.hpp"
#include "uds/Crc32.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Simulation::Tests {
namespace {

using namespace std::chrono_literals;

class SimulatedVehicleTest : public testing::Test {
protected:
    static VehicleDescription smallVehicle() {
        auto unit = smallControlUnit();
        unit.responseDelay = 25ms;
        return {L"VIN", {unit}};
    }

    std::string receive(Uds::VehicleLink& from, std::chrono::milliseconds timeout) {
        const auto response = from.receive(timeout);
        return response ? hex(*response) : "nothing";
    }

    Quarlen::Tests::FakeClock clock;
    std::shared_ptr<Uds::VehicleInterface> vehicle = openSimulatedVehicle(smallVehicle(), clock);
    std::unique_ptr<Uds::VehicleLink> link = vehicle->openLink(L"LINK");
};

TEST_F(SimulatedVehicleTest, HasNoOtherLinksThanTheDescribedOnes) {
    try {
        vehicle->openLink(L"OTHER");
        FAIL() << "no exception";
    } catch (const Uds::LinkError& error) {
        EXPECT_EQ(error.message(), L"the vehicle has no logical link \"OTHER\"");
    }
}

TEST_F(SimulatedVehicleTest, DeliversAResponseWhenItIsDue) {
    const auto begin = clock.now();
    link->send(hex("3E 00"));
    EXPECT_EQ(receive(*link, 1000ms), "7E 00");
    EXPECT_EQ(clock.now() - begin, 25ms);
}

TEST_F(SimulatedVehicleTest, DeliversAReadyResponseWithoutASleep) {
    link->send(hex("3E 00"));
    clock.advance(25ms);
    EXPECT_EQ(receive(*link, 0ms), "7E 00");
    EXPECT_TRUE(clock.sleeps().empty());
}

TEST_F(SimulatedVehicleTest, WaitsNoLongerThanItIsAskedTo) {
    link->send(hex("3E 00"));
    const auto begin = clock.now();
    EXPECT_EQ(receive(*link, 24ms), "nothing");
    EXPECT_EQ(clock.now() - begin, 24ms);
    EXPECT_EQ(receive(*link, 1ms), "7E 00");
}

TEST_F(SimulatedVehicleTest, WaitsTheWholeTimeoutWhenNothingComes) {
    const auto begin = clock.now();
    EXPECT_EQ(receive(*link, 50ms), "nothing");
    EXPECT_EQ(clock.now() - begin, 50ms);
}

TEST_F(SimulatedVehicleTest, TreatsANegativeTimeoutAsNone) {
    EXPECT_EQ(receive(*link, -5ms), "nothing");
    EXPECT_TRUE(clock.sleeps().empty());
}

TEST_F(SimulatedVehicleTest, DeliversResponsesInTheOrderOfTheirTimes) {
    link->send(hex("31 01 02 04"));
    link->send(hex("22 F1 90"));
    EXPECT_EQ(receive(*link, 100ms), "7F 31 78");
    EXPECT_EQ(receive(*link, 100ms), "7F 22 21");
    EXPECT_EQ(receive(*link, 3000ms), "7F 31 78");
}

TEST_F(SimulatedVehicleTest, LimitsTheResponsesThatNobodyFetches) {
    const auto flood = [&] {
        for (int count = 0; count < 2000; ++count) {
            link->send(hex("3E 00"));
        }
    };
    EXPECT_THROW(flood(), Uds::LinkError);
    EXPECT_EQ(receive(*link, 100ms), "7E 00");
    EXPECT_NO_THROW(link->send(hex("3E 00")));
}

TEST_F(SimulatedVehicleTest, KeepsItsStateOverLinks) {
    link->send(hex("14 FF FF FF"));
    link.reset();
    const auto second = vehicle->openLink(L"LINK");
    second->send(hex("19 01 2F"));
    EXPECT_EQ(receive(*second, 100ms), "59 01 FF 01 00 00");
}

TEST_F(SimulatedVehicleTest, AnswersOnlyTheLinkThatAsked) {
    const auto second = vehicle->openLink(L"LINK");
    link->send(hex("3E 00"));
    EXPECT_EQ(receive(*second, 100ms), "nothing");
    EXPECT_EQ(receive(*link, 0ms), "7E 00");
}

TEST_F(SimulatedVehicleTest, LivesAsLongAsALinkToIt) {
    vehicle.reset();
    link->send(hex("3E 00"));
    EXPECT_EQ(receive(*link, 100ms), "7E 00");
}

TEST_F(SimulatedVehicleTest, ServesSeveralThreadsAtTheSameControlUnit) {
    std::vector<std::thread> threads;
    std::atomic<int> right = 0;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            const auto own = vehicle->openLink(L"LINK");
            Uds::Client client(*own, {}, clock, {60000ms, 60000ms, 120000ms});
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
    std::unique_ptr<Uds::VehicleLink> open(const wchar_t* name) const {
        return vehicle->openLink(name);
    }

    Quarlen::Tests::FakeClock clock;
    std::shared_ptr<Uds::VehicleInterface> vehicle =
        openSimulatedVehicle(Quarlen::Tests::examplesFolder() / "vehicle.xml", clock);
};

TEST_F(ExampleVehicle, TellsItsVinOnTheGatewaysLink) {
    const auto gateway = open(L"UDS_CAN_D");
    const auto vin = Uds::Client(*gateway, {}, clock).readData(Uds::Did::vin);
    EXPECT_EQ(std::string(vin.begin(), vin.end()), "WKLDEMO0000000042");
}

TEST_F(ExampleVehicle, IsFlashedWithANewSoftwareVersion) {
    const auto engine = open(L"UDS_CAN_ENGINE");
    Uds::Client client(*engine, {}, clock);
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
    const auto gateway = open(L"UDS_CAN_D");
    Uds::Client client(*gateway, {}, clock);
    client.request(hex("10 03"));
    client.unlock(1, 0x5A3C96E1);
    client.request(hex("2E F1 5A 01 02 03 04"));
    EXPECT_EQ(hex(client.readData(Uds::Did::fingerprint)), "01 02 03 04");
}

} // namespace
} // namespace Quarlen::Simulation::Tests
