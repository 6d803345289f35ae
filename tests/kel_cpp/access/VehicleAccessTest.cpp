#include "kel_cpp/access/VehicleAccess.hpp"

#include <future>
#include <thread>

#include <gtest/gtest.h>

#include "tests/kel_cpp/FakeVehicle.hpp"
#include "uds/Client.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

class VehicleAccessTest : public testing::Test {
protected:
    std::unique_ptr<HeldUnlock> unlock() {
        return std::make_unique<HeldUnlock>(vehicle->openLink(L"L"), std::chrono::milliseconds(1));
    }

    void waitForRequests(std::size_t count) const {
        while (vehicle->requests().size() < count) {
            std::this_thread::yield();
        }
    }

    Quarlen::Tests::FakeClock clock;
    std::shared_ptr<FakeVehicle> vehicle = std::make_shared<FakeVehicle>(clock);
    VehicleAccess access{L"Fake", vehicle};
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

TEST_F(VehicleAccessTest, OpensNoLinkOnceItIsClosed) {
    EXPECT_NE(access.openLink(L"L"), nullptr);
    access.close();
    access.close();
    EXPECT_TRUE(access.closing().stop_requested());
    EXPECT_THROW(static_cast<void>(access.openLink(L"L")), Uds::Cancelled);
}

TEST_F(VehicleAccessTest, KeepsAnUnlockAliveWithTesterPresentWithoutAnswer) {
    access.holdUnlock(1, unlock());
    waitForRequests(3);
    EXPECT_EQ(vehicle->requests().at(2), (Uds::Bytes{0x3E, 0x80}));
}

TEST_F(VehicleAccessTest, ReleasingAnUnlockEndsItsTesterPresent) {
    access.holdUnlock(1, unlock());
    waitForRequests(1);
    access.releaseUnlock(2);
    EXPECT_EQ(vehicle->linkCount(), 1U);
    access.releaseUnlock(1);
    // Nothing can be sent any more over a link that is gone.
    EXPECT_EQ(vehicle->linkCount(), 0U);
}

TEST_F(VehicleAccessTest, ClosingEndsAllUnlocks) {
    access.holdUnlock(1, unlock());
    access.holdUnlock(2, unlock());
    waitForRequests(2);
    EXPECT_EQ(vehicle->linkCount(), 2U);
    access.close();
    EXPECT_EQ(vehicle->linkCount(), 0U);
}

TEST_F(VehicleAccessTest, HoldsNoUnlockOnceItIsClosed) {
    access.close();
    EXPECT_THROW(access.holdUnlock(1, unlock()), Uds::Cancelled);
}

TEST_F(VehicleAccessTest, AFailingLinkDoesNotEndTheTesterPresent) {
    vehicle->answer = [](const Uds::Bytes&) -> std::optional<Uds::Bytes> {
        throw Uds::LinkError(L"cable is off");
    };
    access.holdUnlock(1, unlock());
    waitForRequests(3);
    access.close();
}

} // namespace Quarlen::Kel_cpp::Tests
