#include "platform/FreeAddress.hpp"

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/FakeClock.hpp"
#include "tests/support/LoopbackPort.hpp"

namespace Quarlen::Platform::Tests {

namespace {

using std::chrono::milliseconds;
using testing::Contains;
using testing::IsEmpty;
using Listening = std::optional<std::vector<SocketAddress>>;

const SocketAddress address{.host = "127.0.0.1", .port = 58000};

/// The system's own code for an address that is taken.
std::error_code taken() {
    const Quarlen::Tests::TakenPort port;
    return tryToBind({.host = "127.0.0.1", .port = port.number()});
}

class WaitForFreeAddress : public testing::Test {
protected:
    void wait(const SocketAddress& wanted = address) {
        const auto bind = [this](const SocketAddress& tried) -> std::error_code {
            EXPECT_EQ(tried.port, address.port);
            return ++binds > failures ? std::error_code() : cause;
        };
        waitForFreeAddress(
            wanted, {.clock = clock, .bind = bind, .listening = [this] { return listening; }});
    }

    const std::error_code cause = taken();
    Quarlen::Tests::FakeClock clock;
    Listening listening = std::vector<SocketAddress>{};
    int failures = 1'000'000;
    int binds = 0;
};

TEST_F(WaitForFreeAddress, DoesNotWaitForAFreeOne) {
    failures = 0;

    wait();

    EXPECT_THAT(clock.sleeps(), IsEmpty());
}

TEST_F(WaitForFreeAddress, TriesAgainUntilTheRestOfOldConnectionsIsGone) {
    failures = 3;

    wait();

    EXPECT_EQ(binds, 4);
    EXPECT_EQ(clock.sleeps().size(), 3U);
}

TEST_F(WaitForFreeAddress, GivesUpAfterFiveSeconds) {
    wait();

    EXPECT_EQ(clock.sleptInTotal(), milliseconds(5000));
}

TEST_F(WaitForFreeAddress, DoesNotWaitWhereSomebodyListens) {
    listening = {{.host = "10.0.0.1", .port = 58000}, address};

    wait();

    EXPECT_EQ(binds, 1);
    EXPECT_THAT(clock.sleeps(), IsEmpty());
}

TEST_F(WaitForFreeAddress, DoesNotWaitWhereTheSystemDoesNotTellWhoListens) {
    listening = std::nullopt;

    wait();

    EXPECT_THAT(clock.sleeps(), IsEmpty());
}

TEST_F(WaitForFreeAddress, DoesNotWaitWhereAnotherCausePreventsIt) {
    waitForFreeAddress(
        address,
        {.clock = clock,
         .bind = [](const auto&) { return std::make_error_code(std::errc::permission_denied); },
         .listening = [this] { return listening; }});

    EXPECT_THAT(clock.sleeps(), IsEmpty());
}

TEST_F(WaitForFreeAddress, DoesNotWaitForAPortThatTheSystemChooses) {
    wait({.host = "127.0.0.1", .port = 0});

    EXPECT_EQ(binds, 0);
}

TEST(IsListenedOn, ComparesPortAndAddress) {
    const std::vector<SocketAddress> listening{{.host = "127.0.0.1", .port = 58000}};

    EXPECT_TRUE(isListenedOn(address, listening));
    EXPECT_FALSE(isListenedOn({.host = "127.0.0.1", .port = 58001}, listening));
    EXPECT_FALSE(isListenedOn({.host = "127.0.0.2", .port = 58000}, listening));
}

TEST(IsListenedOn, KnowsTheAddressThatStandsForAll) {
    EXPECT_TRUE(isListenedOn(address, {{.host = "0.0.0.0", .port = 58000}}));
    EXPECT_TRUE(isListenedOn({.host = "0.0.0.0", .port = 58000}, {address}));
}

TEST(TryToBind, TellsThatAnAddressIsTaken) {
    EXPECT_TRUE(isTaken(taken()));
}

TEST(TryToBind, LeavesAFreeAddressFree) {
    const SocketAddress free{.host = "127.0.0.1", .port = Quarlen::Tests::freePort()};

    EXPECT_FALSE(tryToBind(free));
    EXPECT_FALSE(tryToBind(free));
}

TEST(TryToBind, TellsOfAnAddressThatIsNotOfThisMachine) {
    const std::error_code error = tryToBind({.host = "192.0.2.1", .port = 1});

    EXPECT_TRUE(error);
    EXPECT_FALSE(isTaken(error));
}

TEST(ListeningAddresses, HaveThePortOnWhichSomebodyListens) {
    const Quarlen::Tests::TakenPort port;
    const Listening listening = listeningAddresses();

    ASSERT_TRUE(listening);
    EXPECT_TRUE(isListenedOn({.host = "127.0.0.1", .port = port.number()}, *listening));
}

TEST(ListeningAddresses, HaveNoPortThatIsOnlyBound) {
    Quarlen::Tests::TestSocket bound;
    bound.bindToLoopback();
    const Listening listening = listeningAddresses();

    ASSERT_TRUE(listening);
    EXPECT_FALSE(isListenedOn({.host = "127.0.0.1", .port = bound.port()}, *listening));
}

} // namespace

} // namespace Quarlen::Platform::Tests
