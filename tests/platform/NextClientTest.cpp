#include "platform/NextClient.hpp"

#include <chrono>
#include <deque>
#include <system_error>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/AcceptErrors.hpp"
#include "tests/support/FakeClock.hpp"

namespace Quarlen::Platform::Tests {

namespace {

using Quarlen::Tests::lastAcceptErrors;
using Quarlen::Tests::passingAcceptErrors;

constexpr std::intptr_t listening = 7;
constexpr std::intptr_t client = 8;

/// The failures come first, then the client.
class NextClient : public testing::Test {
protected:
    std::intptr_t after(const std::vector<int>& codes) {
        std::deque<int> left(codes.begin(), codes.end());
        tries = 0;
        const auto accept = [this, left](std::intptr_t socket) mutable -> Accepted {
            EXPECT_EQ(socket, listening);
            ++tries;
            if (left.empty()) {
                return {.connection = client, .error = {}};
            }
            const int code = left.front();
            left.pop_front();
            return {.error = {code, std::system_category()}};
        };
        return nextClient([this] { return socket; }, {.clock = clock, .accept = accept});
    }

    Quarlen::Tests::FakeClock clock;
    std::intptr_t socket = listening;
    int tries = 0;
};

TEST_F(NextClient, ComesAfterAllFailuresThatPass) {
    EXPECT_EQ(after(passingAcceptErrors()), client);

    EXPECT_THAT(clock.sleeps(), testing::SizeIs(passingAcceptErrors().size()));
    EXPECT_THAT(clock.sleeps(), testing::Each(std::chrono::milliseconds(50)));
}

TEST_F(NextClient, ComesWithoutAPauseWhereNobodyHasComeSoFar) {
    EXPECT_EQ(after({0, 0}), client);

    EXPECT_THAT(clock.sleeps(), testing::IsEmpty());
}

TEST_F(NextClient, IsNoneOfASocketThatHasEnded) {
    for (const int code : lastAcceptErrors()) {
        EXPECT_EQ(after({code}), noSocket) << code;
        EXPECT_EQ(tries, 1);
    }
    EXPECT_THAT(clock.sleeps(), testing::IsEmpty());
}

TEST_F(NextClient, IsNoneWithoutAListeningSocket) {
    socket = noSocket;

    EXPECT_EQ(after({}), noSocket);
    EXPECT_EQ(tries, 0);
}

TEST_F(NextClient, IsNoLongerWaitedForOnceTheSocketIsTakenAway) {
    clock.onSleep([this](auto) { socket = noSocket; });

    EXPECT_EQ(after({passingAcceptErrors().front()}), noSocket);
    EXPECT_EQ(tries, 1);
}

TEST(AcceptFaultOf, TellsWhichFailuresPass) {
    for (const int code : passingAcceptErrors()) {
        EXPECT_EQ(acceptFaultOf(code), AcceptFault::Passing) << code;
    }
}

TEST(AcceptFaultOf, TellsWhichFailuresEndTheSocket) {
    for (const int code : lastAcceptErrors()) {
        EXPECT_EQ(acceptFaultOf(code), AcceptFault::SocketEnded) << code;
    }
}

TEST(AcceptFaultOf, TakesACodeThatItDoesNotKnowForOneThatPasses) {
    EXPECT_EQ(acceptFaultOf(1'234'567), AcceptFault::Passing);
}

TEST(AcceptFaultOf, FindsNoFaultWhereNobodyHasCome) {
    EXPECT_EQ(acceptFaultOf(0), AcceptFault::NobodyCame);
}

TEST(AcceptedConnection, IsNoneOfASocketThatIsNone) {
    const Accepted accepted = acceptConnection(noSocket);

    EXPECT_EQ(accepted.connection, noSocket);
    EXPECT_EQ(acceptFaultOf(accepted.error.value()), AcceptFault::SocketEnded) << accepted.error;
}

} // namespace

} // namespace Quarlen::Platform::Tests
