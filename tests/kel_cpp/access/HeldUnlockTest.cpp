#include "kel_cpp/access/HeldUnlock.hpp"

#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "kel_cpp/access/VehicleQueries.hpp"
#include "simulation/SimulatedVehicle.hpp"
#include "tests/kel_cpp/FakeVehicle.hpp"
#include "tests/support/FakeClock.hpp"
#include "tests/support/NumberedCause.hpp"
#include "tests/support/TestPaths.hpp"
#include "tests/support/TraceCapture.hpp"
#include "uds/Client.hpp"

namespace Quarlen::Kel_cpp::Tests {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

/// Counts the requests that have been sent over one link.
class Requests {
public:
    void add() {
        const std::lock_guard lock(mutex);
        ++count;
        added.notify_all();
    }

    /// Returns once a request that began after the call is through: the next one may have been
    /// under way already.
    [[nodiscard]] bool waitForAWholeOne() {
        std::unique_lock lock(mutex);
        return added.wait_for(lock, seconds(30),
                              [this, wanted = count + 2] { return count >= wanted; });
    }

private:
    std::mutex mutex;
    std::condition_variable added;
    std::size_t count = 0;
};

class CountingLink : public Uds::VehicleLink {
public:
    CountingLink(std::unique_ptr<Uds::VehicleLink> link, Requests& requests)
        : link(std::move(link)), requests(requests) {}

    void send(const Uds::Bytes& request) override {
        link->send(request);
        requests.add();
    }

    std::optional<Uds::Bytes> receive(milliseconds timeout) override {
        return link->receive(timeout);
    }

private:
    std::unique_ptr<Uds::VehicleLink> link;
    Requests& requests;
};

/// An unlocked control unit of the example vehicle, whose time only the test moves on.
class HeldUnlockTest : public testing::Test {
protected:
    void hold() {
        auto link = unlockControlUnit(access, {L"UDS_CAN_D", 1, 0x5A3C96E1}, clock);
        unlock = std::make_unique<HeldUnlock>(
            std::make_unique<CountingLink>(std::move(link), requests), milliseconds(1));
    }

    /// Only an unlocked extended session may write the fingerprint.
    bool mayWrite() {
        const auto link = access.openLink(L"UDS_CAN_D");
        const auto response =
            Uds::Client(*link, {}, clock).exchange({0x2E, 0xF1, 0x5A, 1, 2, 3, 4});
        return !Uds::isNegative(response);
    }

    Quarlen::Tests::FakeClock clock;
    VehicleAccess access{
        L"Simulation",
        Simulation::openSimulatedVehicle(Quarlen::Tests::examplesFolder() / "vehicle.xml", clock)};
    Requests requests;
    std::unique_ptr<HeldUnlock> unlock;
};

} // namespace

TEST(HeldUnlockOverABrokenLink, TracesTheCauseOnce) {
    const Quarlen::Tests::TraceCapture traces;
    Quarlen::Tests::FakeClock clock;
    FakeVehicle vehicle(clock);
    vehicle.answer = [](const Uds::Bytes&) -> std::optional<Uds::Bytes> {
        throw std::system_error(std::make_error_code(std::errc::io_error), "send");
    };
    {
        const HeldUnlock unlock(vehicle.openLink(L"L"), milliseconds(1));
        while (vehicle.requests().size() < 3) {
            std::this_thread::yield();
        }
    }
    ASSERT_EQ(traces.texts().size(), 1U);
    EXPECT_THAT(traces.texts()[0],
                testing::AllOf(testing::StartsWith(L"tester present failed: send: "),
                               Quarlen::Tests::EndsWithANumber()));
}

TEST_F(HeldUnlockTest, KeepsTheControlUnitUnlockedBeyondItsSessionTimeout) {
    hold();
    for (int step = 0; step < 4; ++step) {
        clock.advance(seconds(2));
        ASSERT_TRUE(requests.waitForAWholeOne());
    }
    EXPECT_TRUE(mayWrite());
}

TEST_F(HeldUnlockTest, LetsTheSessionRunOutOnceItHasEnded) {
    hold();
    ASSERT_TRUE(requests.waitForAWholeOne());
    unlock.reset();
    clock.advance(seconds(4));
    EXPECT_TRUE(mayWrite());
    clock.advance(seconds(6));
    EXPECT_FALSE(mayWrite());
}

} // namespace Quarlen::Kel_cpp::Tests
