#include "kel_server_lib/http/Connections.hpp"

#include <deque>
#include <vector>

#include <gtest/gtest.h>

namespace Quarlen::Rest::Tests {

namespace {

/// Connections without a socket, all of them with a turn in the order in which they are added.
class ConnectionsTest : public testing::Test {
protected:
    Connections::Entry& add() { return entries.emplace_back(connections, -1); }
    Connections::Entry& addWaiting() {
        Connections::Entry& entry = add();
        EXPECT_TRUE(entry.waitForRequest());
        return entry;
    }
    /// Waits for its second request.
    Connections::Entry& addIdle() {
        Connections::Entry& entry = addServing();
        EXPECT_TRUE(entry.waitForRequest());
        return entry;
    }
    Connections::Entry& addServing() {
        Connections::Entry& entry = addWaiting();
        EXPECT_TRUE(entry.receiveRequest());
        EXPECT_TRUE(entry.serveRequest());
        return entry;
    }

    Connections connections;
    std::deque<Connections::Entry> entries;
};

TEST_F(ConnectionsTest, FindNoRoomWhereNobodyIs) {
    EXPECT_FALSE(connections.makeRoom());
}

TEST_F(ConnectionsTest, EndFirstThoseThatHaveNeverSentARequestThenTheIdleOnes) {
    Connections::Entry& idle = addIdle();
    Connections::Entry& silent = addWaiting();

    EXPECT_TRUE(connections.makeRoom());
    EXPECT_TRUE(silent.hasToEnd());
    EXPECT_FALSE(idle.hasToEnd());

    EXPECT_TRUE(connections.makeRoom());
    EXPECT_TRUE(idle.hasToEnd());
    EXPECT_FALSE(connections.makeRoom());
}

TEST_F(ConnectionsTest, EndTheOneThatIsIdleForLongest) {
    Connections::Entry& first = addIdle();
    Connections::Entry& second = addIdle();
    first.receiveRequest();
    first.serveRequest();
    first.waitForRequest();

    EXPECT_TRUE(connections.makeRoom());

    EXPECT_TRUE(second.hasToEnd());
    EXPECT_FALSE(first.hasToEnd());
}

TEST_F(ConnectionsTest, EndTheSilentOneThatCameFirst) {
    Connections::Entry& first = addWaiting();
    Connections::Entry& second = addWaiting();

    EXPECT_TRUE(connections.makeRoom());

    EXPECT_TRUE(first.hasToEnd());
    EXPECT_FALSE(second.hasToEnd());
}

TEST_F(ConnectionsTest, NeverEndOneWhoseRequestIsBeingServed) {
    Connections::Entry& serving = addServing();

    EXPECT_FALSE(connections.makeRoom());
    EXPECT_FALSE(serving.hasToEnd());
    EXPECT_TRUE(serving.waitForRequest());
}

TEST_F(ConnectionsTest, EndThoseThatAreStillSendingLast) {
    Connections::Entry& sending = addWaiting();
    sending.receiveRequest();
    Connections::Entry& leaving = addServing();
    leaving.leave();
    Connections::Entry& idle = addIdle();

    EXPECT_TRUE(connections.makeRoom());
    EXPECT_TRUE(idle.hasToEnd());
    EXPECT_TRUE(connections.makeRoom());
    EXPECT_TRUE(leaving.hasToEnd());
    EXPECT_FALSE(sending.hasToEnd());
    EXPECT_TRUE(connections.makeRoom());
    EXPECT_TRUE(sending.hasToEnd());
}

TEST_F(ConnectionsTest, TellOneThatHasToEndWhateverItBegins) {
    Connections::Entry& entry = addWaiting();
    ASSERT_TRUE(connections.makeRoom());

    EXPECT_FALSE(entry.receiveRequest());
    EXPECT_FALSE(entry.serveRequest());
    EXPECT_FALSE(entry.leave());
    EXPECT_FALSE(entry.waitForRequest());
    EXPECT_TRUE(entry.hasToEnd());
}

TEST_F(ConnectionsTest, DoNotEndOneThatHasGone) {
    addWaiting().remove();
    addWaiting();
    entries.pop_back();

    EXPECT_FALSE(connections.makeRoom());
}

TEST_F(ConnectionsTest, EndIdleOnesBeforeNewcomersWhoseRequestNobodyHasReadYet) {
    Connections::Entry& firstNewcomer = add();
    Connections::Entry& firstIdle = addIdle();
    Connections::Entry& secondIdle = addIdle();
    Connections::Entry& secondNewcomer = add();

    EXPECT_TRUE(connections.makeRoom(&firstNewcomer));
    EXPECT_TRUE(connections.makeRoom(&secondNewcomer));

    EXPECT_TRUE(firstIdle.hasToEnd());
    EXPECT_TRUE(secondIdle.hasToEnd());
    EXPECT_FALSE(firstNewcomer.hasToEnd());
    EXPECT_FALSE(secondNewcomer.hasToEnd());
}

TEST_F(ConnectionsTest, EndANewcomerBeforeOneThatIsSending) {
    Connections::Entry& sending = addWaiting();
    sending.receiveRequest();
    Connections::Entry& newcomer = add();

    EXPECT_TRUE(connections.makeRoom());

    EXPECT_TRUE(newcomer.hasToEnd());
    EXPECT_FALSE(sending.hasToEnd());
}

TEST_F(ConnectionsTest, MayEndANewOneButNotForItself) {
    Connections::Entry& newcomer = add();

    EXPECT_FALSE(connections.makeRoom(&newcomer));
    EXPECT_TRUE(connections.makeRoom());
    EXPECT_TRUE(newcomer.hasToEnd());
}

TEST_F(ConnectionsTest, LetTheOthersFinishWhenTheServerStops) {
    Connections::Entry& serving = addServing();
    Connections::Entry& waiting = addWaiting();
    EXPECT_FALSE(serving.serverStops());

    connections.stop();

    EXPECT_TRUE(serving.serverStops());
    EXPECT_TRUE(waiting.receiveRequest());
    EXPECT_FALSE(waiting.hasToEnd());
    EXPECT_TRUE(serving.leave());
}

} // namespace

} // namespace Quarlen::Rest::Tests
