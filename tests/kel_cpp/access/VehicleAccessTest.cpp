#include "kel_cpp/access/VehicleAccess.hpp"

#include <algorithm>
#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "tests/kel_cpp/FakeVehicle.hpp"
#include "tests/support/TraceCapture.hpp"
#include "uds/Client.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

using std::chrono::milliseconds;

class VehicleAccessTest : public testing::Test {
protected:
    VehicleAccessTest() {
        vehicle->answer = [](const Uds::Bytes& request) -> std::optional<Uds::Bytes> {
            return request[0] == 0x10 ? std::optional(Uds::Bytes{0x50, request[1]}) : std::nullopt;
        };
    }

    /// A link whose control unit is in the extended session.
    Uds::VehicleLink unlocked(const wchar_t* name) {
        Uds::VehicleLink link = access.openLink({name});
        link.channel().exchange({0x10, 0x03}, {});
        return link;
    }

    void waitForRequests(std::size_t count) const {
        while (vehicle->requests().size() < count) {
            std::this_thread::yield();
        }
    }

    Quarlen::Tests::FakeClock clock;
    std::shared_ptr<FakeVehicle> vehicle = std::make_shared<FakeVehicle>(clock);
    VehicleAccess access{L"Fake", vehicle, clock, {.testerPresentInterval = milliseconds(1)}};
};

} // namespace

TEST_F(VehicleAccessTest, GivesTheTurnToOneAtATime) {
    auto turn = access.takeTurn({});
    auto next = std::async(std::launch::async, [&] { return access.takeTurn({}) != nullptr; });
    EXPECT_EQ(next.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    turn.reset();
    EXPECT_TRUE(next.get());
}

TEST_F(VehicleAccessTest, ACancelEndsTheWaitForTheTurn) {
    const auto turn = access.takeTurn({});
    std::stop_source cancel;
    auto next = std::async(std::launch::async,
                           [&] { const auto taken = access.takeTurn(cancel.get_token()); });
    cancel.request_stop();
    EXPECT_THROW(next.get(), Uds::Cancelled);
}

TEST_F(VehicleAccessTest, GivesNoTurnToOneThatIsCancelledAlready) {
    std::stop_source cancel;
    cancel.request_stop();
    EXPECT_THROW(static_cast<void>(access.takeTurn(cancel.get_token())), Uds::Cancelled);
}

TEST_F(VehicleAccessTest, OpensItsInterfaceAndClosesIt) {
    EXPECT_TRUE(access.isOpen());
    EXPECT_EQ(vehicle->state(), Uds::VehicleInterface::State::Open);
    access.close();
    EXPECT_FALSE(access.isOpen());
    EXPECT_EQ(vehicle->state(), Uds::VehicleInterface::State::Closed);
}

TEST_F(VehicleAccessTest, OpensNoLinkOnceItIsClosed) {
    EXPECT_EQ(access.openLink({L"L"}).channel().unit().link, L"L");
    access.close();
    access.close();
    EXPECT_TRUE(access.closing().stop_requested());
    EXPECT_THROW(static_cast<void>(access.openLink({L"L"})), Uds::Cancelled);
}

TEST_F(VehicleAccessTest, KeepsAnUnlockAliveWithTesterPresentWithoutAnswer) {
    access.holdUnlock(1, unlocked(L"L"));
    waitForRequests(3);
    EXPECT_EQ(vehicle->requests().at(2), (Uds::Bytes{0x3E, 0x80}));
}

TEST_F(VehicleAccessTest, KeepsTheSessionOfALinkThatIsHeld) {
    Uds::VehicleLink link = unlocked(L"L");
    access.holdSession(link);
    waitForRequests(3);
    EXPECT_EQ(vehicle->requests().at(2), (Uds::Bytes{0x3E, 0x80}));
}

TEST_F(VehicleAccessTest, ReleasingAnUnlockEndsItsTesterPresent) {
    access.holdUnlock(1, unlocked(L"L"));
    access.releaseUnlock(2);
    EXPECT_TRUE(access.connection().holdsSessions());
    access.releaseUnlock(1);
    EXPECT_FALSE(access.connection().holdsSessions());
}

TEST_F(VehicleAccessTest, KeepsSessionsAgainAfterAllOfThemHaveEnded) {
    access.holdUnlock(1, unlocked(L"L"));
    waitForRequests(2);
    access.releaseUnlock(1);
    access.holdUnlock(2, unlocked(L"M"));
    const auto isKept = [this] {
        const auto requests = vehicle->requests();
        const auto entered = std::find(requests.rbegin(), requests.rend(), Uds::Bytes{0x10, 0x03});
        return std::find(requests.rbegin(), entered, Uds::Bytes{0x3E, 0x80}) != entered;
    };
    while (!isKept()) {
        std::this_thread::yield();
    }
}

TEST_F(VehicleAccessTest, ClosingEndsAllUnlocks) {
    access.holdUnlock(1, unlocked(L"L"));
    access.holdUnlock(2, unlocked(L"M"));
    access.close();
    EXPECT_FALSE(access.connection().holdsSessions());
}

TEST_F(VehicleAccessTest, HoldsNoUnlockOnceItIsClosed) {
    Uds::VehicleLink link = unlocked(L"L");
    access.close();
    EXPECT_THROW(access.holdUnlock(1, std::move(link)), Uds::Cancelled);
}

TEST_F(VehicleAccessTest, EndsItsUnlocksWithItsConnection) {
    access.holdUnlock(1, unlocked(L"L"));
    Uds::VehicleLink other = unlocked(L"M");
    vehicle->lose(L"cable is off");
    EXPECT_FALSE(access.connection().holdsSessions());
    EXPECT_FALSE(access.isOpen());
    EXPECT_EQ(access.lossCause(), L"cable is off");
    EXPECT_FALSE(access.closing().stop_requested());
    EXPECT_THROW(access.holdUnlock(2, std::move(other)), Uds::ConnectionLost);
}

TEST_F(VehicleAccessTest, TellsThatItsConnectionIsLostAndWhetherUnlocksHaveEndedWithIt) {
    const Quarlen::Tests::TraceCapture traces;
    access.holdUnlock(1, unlocked(L"L"));
    vehicle->lose(L"cable is off");
    EXPECT_EQ(traces.count(L"the connection over \"Fake\" is lost: cable is off; the unlocks have "
                           L"ended with it"),
              1);
    vehicle->lose(L"battery is off");
    EXPECT_EQ(traces.count(L"the connection over \"Fake\" is lost: battery is off"), 1);
}

TEST_F(VehicleAccessTest, AFailureDoesNotEndTheTesterPresentAndIsToldOnce) {
    const Quarlen::Tests::TraceCapture traces;
    Uds::VehicleLink link = unlocked(L"L");
    vehicle->answer = [](const Uds::Bytes&) -> std::optional<Uds::Bytes> {
        throw Uds::MessageRefused(3, L"nobody there");
    };
    access.holdUnlock(1, std::move(link));
    waitForRequests(4);
    access.close();
    EXPECT_EQ(traces.count(L"tester present failed: nobody there"), 1);
}

TEST_F(VehicleAccessTest, TellsAnUnlockThatAnotherRequestHasEnded) {
    const Quarlen::Tests::TraceCapture traces;
    vehicle->answer = [](const Uds::Bytes& request) -> std::optional<Uds::Bytes> {
        Uds::Bytes response = request;
        response[0] = static_cast<std::uint8_t>(request[0] + 0x40);
        return response;
    };
    Uds::VehicleLink link = unlocked(L"L");
    link.channel().exchange({0x27, 0x02}, {});
    const auto channel = link.sharedChannel();
    access.holdUnlock(1, std::move(link));
    channel->exchange({0x11, 0x01}, {});
    EXPECT_EQ(traces.count(L"the unlock of logical link \"L\" is lost: it was reset"), 1);
}

TEST_F(VehicleAccessTest, SaysNothingOfAnUnlockThatNobodyHolds) {
    const Quarlen::Tests::TraceCapture traces;
    vehicle->answer = [](const Uds::Bytes& request) -> std::optional<Uds::Bytes> {
        Uds::Bytes response = request;
        response[0] = static_cast<std::uint8_t>(request[0] + 0x40);
        return response;
    };
    const Uds::VehicleLink link = unlocked(L"L");
    link.channel().exchange({0x27, 0x02}, {});
    link.channel().exchange({0x11, 0x01}, {});
    EXPECT_TRUE(traces.texts().empty());
}

TEST_F(VehicleAccessTest, AListenerThatFailsEndsNeitherTheTesterPresentNorTheProcess) {
    const Quarlen::Tests::TraceCapture traces;
    std::atomic<int> heard{0};
    const auto fail = [&](const Uds::BusEvent& event) {
        if (event.kind == Uds::BusEvent::Kind::KeepAlive && ++heard < 3) {
            throw std::runtime_error("disk full");
        }
    };
    VehicleAccess failing(L"Fake", vehicle, clock,
                          {.testerPresentInterval = milliseconds(1), .onBusEvent = fail});
    Uds::VehicleLink link = failing.openLink({L"L"});
    link.channel().exchange({0x10, 0x03}, {});
    failing.holdSession(link);
    waitForRequests(2);
    EXPECT_EQ(vehicle->requests().at(1), (Uds::Bytes{0x3E, 0x80}));
    EXPECT_GE(heard, 3);
    failing.close();
    EXPECT_EQ(traces.count(L"tester present failed: disk full"), 1);
}

TEST_F(VehicleAccessTest, AListenerThatFailsDoesNotKeepItFromLeavingOtherSessions) {
    const Quarlen::Tests::TraceCapture traces;
    std::atomic<int> left{0};
    const auto fail = [&](const Uds::BusEvent& event) {
        if (event.kind == Uds::BusEvent::Kind::Request && event.bytes == Uds::Bytes{0x10, 0x01} &&
            ++left == 1) {
            throw std::runtime_error("disk full");
        }
    };
    VehicleAccess failing(L"Fake", vehicle, clock, {.onBusEvent = fail});
    for (const auto* const name : {L"L", L"M"}) {
        Uds::VehicleLink link = failing.openLink({name});
        link.channel().exchange({0x10, 0x03}, {});
        failing.leaveSession(link);
    }
    waitForRequests(3);
    EXPECT_EQ(vehicle->requests().back(), (Uds::Bytes{0x10, 0x01}));
    // Of the one that it has tried first.
    EXPECT_EQ(traces.count(L"\"L\" keeps its session until S3: disk full") +
                  traces.count(L"\"M\" keeps its session until S3: disk full"),
              1);
}

TEST_F(VehicleAccessTest, LeavesASessionWithoutWaitingForIt) {
    Uds::VehicleLink link = unlocked(L"L");
    access.leaveSession(link);
    waitForRequests(2);
    EXPECT_EQ(vehicle->requests().at(1), (Uds::Bytes{0x10, 0x01}));
}

TEST_F(VehicleAccessTest, TellsItsListenerWhatGoesAndComes) {
    std::vector<Uds::BusEvent::Kind> kinds;
    VehicleAccess told(L"Fake", std::make_shared<FakeVehicle>(clock), clock,
                       {.onBusEvent = [&](const auto& event) { kinds.push_back(event.kind); }});
    EXPECT_THROW(told.openLink({L"L"}).channel().exchange({0x3E, 0x00}, {}), Uds::NoUsableResponse);
    EXPECT_EQ(kinds, (std::vector{Uds::BusEvent::Kind::Request, Uds::BusEvent::Kind::Silence}));
}

} // namespace Quarlen::Kel_cpp::Tests
