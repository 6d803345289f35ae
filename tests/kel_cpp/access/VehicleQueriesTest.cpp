#include "kel_cpp/access/VehicleQueries.hpp"

#include <future>

#include <gtest/gtest.h>

#include "tests/kel_cpp/FakeVehicle.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

using Uds::Bytes;

class VehicleQueriesTest : public testing::Test {
protected:
    std::wstring vinOfUnit() {
        return readVin({nullptr, nullptr, access}, {TargetEntry::controlUnitKind, L"U", L"L"});
    }

    Quarlen::Tests::FakeClock clock;
    std::shared_ptr<FakeVehicle> vehicle = std::make_shared<FakeVehicle>(clock);
    std::shared_ptr<VehicleAccess> access =
        std::make_shared<VehicleAccess>(L"Fake", vehicle, clock);
};

} // namespace

TEST_F(VehicleQueriesTest, TakeTheVehiclesNumberToItsFirstZeroByte) {
    vehicle->answer = [](const Bytes&) { return Bytes{0x62, 0xF1, 0x90, 'W', '1', 0, 'x'}; };
    EXPECT_EQ(vinOfUnit(), L"W1");
}

TEST_F(VehicleQueriesTest, GetNoNumberFromAControlUnitThatRefusesOrIsSilent) {
    EXPECT_EQ(vinOfUnit(), L"");
    vehicle->answer = [](const Bytes&) { return Bytes{0x7F, 0x22, 0x31}; };
    EXPECT_EQ(vinOfUnit(), L"");
}

TEST_F(VehicleQueriesTest, DoNotTakeALostConnectionForAVehicleWithoutANumber) {
    vehicle->answer = [](const Bytes&) -> std::optional<Bytes> {
        throw Uds::ConnectionLost(L"cut");
    };
    EXPECT_THROW(vinOfUnit(), Uds::ConnectionLost);
}

TEST_F(VehicleQueriesTest, UnlockAControlUnitWhileNobodyElseHasTheTurn) {
    std::future<bool> next;
    vehicle->answer = [&](const Bytes& request) {
        if (request[0] == 0x10) {
            next = std::async(std::launch::async, [&] { return access->takeTurn({}) != nullptr; });
            return Bytes{0x50, 0x03};
        }
        EXPECT_EQ(next.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
        return Bytes{0x67, request[1], 0, 0, 0, 0};
    };
    EXPECT_EQ(unlockControlUnit(*access, {{L"L"}, 1, 0}).channel().unit().link, L"L");
    EXPECT_TRUE(next.get());
}

} // namespace Quarlen::Kel_cpp::Tests
