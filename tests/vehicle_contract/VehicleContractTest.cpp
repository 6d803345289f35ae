#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/HexBytes.hpp"
#include "tests/vehicle_contract/VehiclesUnderTest.hpp"
#include "uds/Client.hpp"
#include "uds/Connection.hpp"

namespace Quarlen::Simulation::Tests {

namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;
using Quarlen::Tests::VehicleUnderTest;

ControlUnitDescription unitAt(std::uint16_t address) {
    ControlUnitDescription unit;
    unit.name = L"U" + std::to_wstring(address);
    unit.link = L"L" + std::to_wstring(address);
    unit.address = address;
    unit.responseDelay = 5ms;
    unit.dataIdentifiers = {{0x0100, {static_cast<std::uint8_t>(address)}, true, {}}};
    unit.routines = {{0x0200, {}, 70s, {}}, {0x0201, {}, 2s, {}}};
    return unit;
}

/// What a tester may rely on, whatever way leads to the vehicle.
class VehicleContract : public testing::TestWithParam<VehicleUnderTest> {
protected:
    void SetUp() override { connect(); }

    void connect() {
        const VehicleDescription description{L"VIN",
                                             {unitAt(1), lateUnit(), fragileUnit(), fullUnit()}};
        connections = GetParam().make(description, clock);
        connectAnew();
    }
    void connectAnew(const Uds::Timing& timing = {}) {
        connection.reset();
        vehicle = connections();
        vehicle->onLost([this](const std::wstring& cause) {
            losses.push_back(cause);
            if (onLoss) {
                onLoss();
            }
        });
        vehicle->open({});
        connection =
            std::make_unique<Uds::Connection>(vehicle, clock, timing, [](const Uds::BusEvent&) {});
    }
    static ControlUnitDescription lateUnit() {
        auto unit = unitAt(2);
        unit.responseDelay = 1500ms;
        return unit;
    }
    static ControlUnitDescription fragileUnit() {
        auto unit = unitAt(3);
        unit.faults = {{hex("11"), {}, true, 0, 1U}};
        return unit;
    }
    static ControlUnitDescription fullUnit() {
        auto unit = unitAt(4);
        FaultDescription full;
        full.request = hex("36");
        full.inputFull = true;
        unit.faults = {full};
        return unit;
    }
    /// "L1" is the link to the control unit with the address 1.
    static Uds::UnitAddress unitOf(const std::wstring& link) {
        const auto number = static_cast<std::uint16_t>(link.back() - L'0');
        return {link, number < 10 ? number : std::uint16_t{99}};
    }
    std::string exchange(const wchar_t* link, const char* request, std::stop_token cancel = {}) {
        return hex(connection->openLink(unitOf(link)).channel().exchange(hex(request), cancel));
    }

    Quarlen::Tests::NetworkClock clock;
    std::function<std::shared_ptr<Uds::VehicleInterface>()> connections;
    std::shared_ptr<Uds::VehicleInterface> vehicle;
    std::vector<std::wstring> losses;
    std::function<void()> onLoss;
    std::unique_ptr<Uds::Connection> connection;
};

} // namespace

TEST_P(VehicleContract, AnswersEachOfItsControlUnits) {
    EXPECT_EQ(exchange(L"L1", "22 01 00"), "62 01 00 01");
    EXPECT_EQ(exchange(L"L3", "22 01 00"), "62 01 00 03");
}

TEST_P(VehicleContract, ALateAnswerIsNotTakenForTheNextOne) {
    EXPECT_THROW(exchange(L"L2", "22 01 00"), Uds::NoUsableResponse);
    clock.advance(600ms);
    EXPECT_THROW(exchange(L"L2", "3E 00"), Uds::NoUsableResponse);
    EXPECT_EQ(exchange(L"L1", "3E 00"), "7E 00");
}

TEST_P(VehicleContract, AnswersAfterMoreThanAMinuteOfResponsePending) {
    const auto begin = clock.now();
    EXPECT_EQ(exchange(L"L1", "31 01 02 00"), "71 01 02 00");
    EXPECT_GE(clock.now() - begin, 70s);
}

TEST_P(VehicleContract, IsAskedAgainWhileAnotherTesterKeepsItBusy) {
    const auto other = connections();
    other->open({});
    const auto end = other->openEndpoint(other->resolve(unitOf(L"L1")));
    end->send(hex("31 01 02 01"), {{}, clock.now() + 1s});
    EXPECT_EQ(exchange(L"L1", "22 01 00"), "62 01 00 01");
}

TEST_P(VehicleContract, IsLostForEverybodyAtOnceAndCanBeConnectedAnew) {
    EXPECT_THROW(exchange(L"L3", "11 01"), Uds::ConnectionLost);
    EXPECT_EQ(vehicle->state(), Uds::VehicleInterface::State::Lost);
    EXPECT_EQ(losses.size(), 1U);
    EXPECT_THROW(exchange(L"L1", "3E 00"), Uds::ConnectionLost);
    EXPECT_EQ(losses.size(), 1U);

    connectAnew();
    EXPECT_EQ(exchange(L"L1", "3E 00"), "7E 00");
}

TEST_P(VehicleContract, FreesWhoWaitsWhenItIsClosed) {
    clock.callAfter(300ms, [this] { vehicle->close(); });
    EXPECT_THROW(exchange(L"L2", "3E 00"), Uds::Cancelled);
    EXPECT_TRUE(losses.empty());
    EXPECT_THROW(exchange(L"L1", "3E 00"), Uds::Cancelled);
}

TEST_P(VehicleContract, ACancelEndsAWaitWithoutClosingIt) {
    std::stop_source cancel;
    clock.callAfter(300ms, [&] { cancel.request_stop(); });
    const auto begin = clock.now();
    EXPECT_THROW(exchange(L"L2", "3E 00", cancel.get_token()), Uds::Cancelled);
    EXPECT_EQ(clock.now() - begin, 300ms);
    EXPECT_EQ(exchange(L"L1", "3E 00"), "7E 00");
}

TEST_P(VehicleContract, TellsItsLossBeforeAnybodyElseFindsIt) {
    const auto other = vehicle->openEndpoint(vehicle->resolve(unitOf(L"L1")));
    onLoss = [&] { EXPECT_NO_THROW(other->send(hex("3E 80"), {{}, clock.now() + 1s})); };
    EXPECT_THROW(exchange(L"L3", "11 01"), Uds::ConnectionLost);
    EXPECT_EQ(losses.size(), 1U);
    EXPECT_THROW(other->send(hex("3E 80"), {{}, clock.now() + 1s}), Uds::ConnectionLost);
}

TEST_P(VehicleContract, IsLostAlsoForWhoeverWaitsForAnAnswer) {
    clock.callAfter(300ms, [this] { EXPECT_THROW(exchange(L"L3", "11 01"), Uds::ConnectionLost); });
    const auto begin = clock.now();
    EXPECT_THROW(exchange(L"L2", "3E 00"), Uds::ConnectionLost);
    EXPECT_EQ(clock.now() - begin, 300ms);
    EXPECT_EQ(losses.size(), 1U);
}

TEST_P(VehicleContract, ACancelEndsASendThatBlocks) {
    std::stop_source cancel;
    clock.callAfter(300ms, [&] { cancel.request_stop(); });
    const auto begin = clock.now();
    EXPECT_THROW(exchange(L"L4", "36 01", cancel.get_token()), Uds::Cancelled);
    EXPECT_EQ(clock.now() - begin, 300ms);
    EXPECT_TRUE(losses.empty());
}

TEST_P(VehicleContract, IsLostWhenNobodyTakesAMessageInItsTime) {
    Uds::Timing timing;
    timing.p2 = 3s;
    connectAnew(timing);
    const auto begin = clock.now();
    EXPECT_THROW(exchange(L"L4", "36 01"), Uds::ConnectionLost);
    EXPECT_EQ(clock.now() - begin,
              std::min<Platform::Clock::TimePoint::duration>(GetParam().patience, timing.p2));
    EXPECT_EQ(vehicle->state(), Uds::VehicleInterface::State::Lost);
    EXPECT_EQ(losses.size(), 1U);
}

TEST_P(VehicleContract, FreesWhoeverIsBlockedInASendWhenItIsClosed) {
    clock.callAfter(300ms, [this] { vehicle->close(); });
    const auto begin = clock.now();
    EXPECT_THROW(exchange(L"L4", "36 01"), Uds::Cancelled);
    EXPECT_EQ(clock.now() - begin, 300ms);
    EXPECT_TRUE(losses.empty());
}

TEST_P(VehicleContract, GivesEachOfTwoUsersOfOneControlUnitHisAnswers) {
    std::atomic<int> right{0};
    std::vector<std::jthread> users;
    for (int user = 0; user < 2; ++user) {
        users.emplace_back([&, user] {
            const char* const request = user == 0 ? "22 01 00" : "3E 00";
            const char* const answer = user == 0 ? "62 01 00 01" : "7E 00";
            for (int count = 0; count < 200; ++count) {
                right += exchange(L"L1", request) == answer ? 1 : 0;
            }
        });
    }
    users.clear();
    EXPECT_EQ(right, 400);
}

TEST_P(VehicleContract, KnowsNoOtherLinks) {
    EXPECT_THROW(exchange(L"NONE", "3E 00"), Uds::LinkError);
}

INSTANTIATE_TEST_SUITE_P(Implementations, VehicleContract,
                         testing::ValuesIn(Quarlen::Tests::vehiclesUnderTest()),
                         [](const auto& test) { return test.param.name; });

} // namespace Quarlen::Simulation::Tests
