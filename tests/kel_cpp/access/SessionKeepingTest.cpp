#include <atomic>
#include <chrono>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include "kel_cpp/access/VehicleQueries.hpp"
#include "kel_cpp/jobs/OtxRun.hpp"
#include "simulation/SimulatedVehicle.hpp"
#include "tests/support/FakeClock.hpp"
#include "tests/support/TestPaths.hpp"
#include "uds/Client.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/// The gateway of the example vehicle, whose time only the test moves on.
class SessionKeeping : public testing::Test {
protected:
    void holdUnlock() {
        access.holdUnlock(1, unlockControlUnit(access, {{L"UDS_CAN_D"}, 1, 0x5A3C96E1}));
    }

    /// A whole TesterPresent that began after the call: the next may have been under way already.
    void waitForTesterPresent() const {
        const int wanted = sent + 2;
        while (sent < wanted) {
            std::this_thread::yield();
        }
    }

    /// Only an unlocked extended session may write the fingerprint.
    bool mayWrite() {
        auto link = access.openLink({L"UDS_CAN_D"});
        return !Uds::isNegative(Uds::Client(link, {}).exchange({0x2E, 0xF1, 0x5A, 1, 2, 3, 4}));
    }

    VehicleAccess connect(AccessOptions options) {
        const auto file = Quarlen::Tests::examplesFolder() / "vehicle.xml";
        return {L"Simulation", Simulation::openSimulatedVehicle(file, clock).connect(), clock,
                std::move(options)};
    }

    Quarlen::Tests::FakeClock clock;
    std::atomic<int> sent{0};
    VehicleAccess access =
        connect({.testerPresentInterval = milliseconds(1), .onBusEvent = [this](const auto& event) {
                     sent += event.kind == Uds::BusEvent::Kind::KeepAlive ? 1 : 0;
                 }});
};

} // namespace

TEST_F(SessionKeeping, KeepsAControlUnitUnlockedBeyondItsSessionTimeout) {
    holdUnlock();
    for (int step = 0; step < 4; ++step) {
        clock.advance(seconds(2));
        waitForTesterPresent();
    }
    EXPECT_TRUE(mayWrite());
}

TEST_F(SessionKeeping, LetsTheSessionRunOutOnceTheUnlockIsReleased) {
    holdUnlock();
    waitForTesterPresent();
    access.releaseUnlock(1);
    clock.advance(seconds(4));
    EXPECT_TRUE(mayWrite());
    clock.advance(seconds(6));
    EXPECT_FALSE(mayWrite());
}

/// The waits are those of the clock, so the test sends what a server in real time sends by itself.
TEST_F(SessionKeeping, KeepsTheSessionOfAProcedureThatWaitsLongerThanItsTimeout) {
    VehicleAccess silent = connect({.testerPresentInterval = std::chrono::hours(1)});
    for (const auto time : {seconds(2), seconds(4)}) {
        clock.callAfter(time, [&] { silent.connection().keepSessions(); });
    }
    RecordList<ServiceResult> results;
    const OtxRun::OnResult onResult = [&](auto result) { results.push_back(result); };
    OtxRun(silent, Project(), {}, clock, onResult)
        .run(
            {L"P",
             {UdsStep{L"UDS_CAN_D", {0x10, 0x03}, {0x50, 0x03}, true}, WaitStep{milliseconds(5500)},
              UdsStep{L"UDS_CAN_D", {0x27, 0x01}, {0x67, 0x01}, true}}});
    ASSERT_EQ(results.size(), 3U);
    EXPECT_EQ(results.back()->errorText, L"");
}

} // namespace Quarlen::Kel_cpp::Tests
