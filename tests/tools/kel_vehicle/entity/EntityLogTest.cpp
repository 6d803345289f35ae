#include "platform/ListeningSocket.hpp"
#include "tests/support/HexBytes.hpp"
#include "tests/tools/kel_vehicle/entity/EntityFixture.hpp"

// What an entity tells people of its testers.

namespace Quarlen::KelVehicle::Tests {
namespace {

using namespace std::chrono_literals;
using Doip::PayloadType;
using Quarlen::Tests::hex;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;

class EntityLog : public EntityTest {
protected:
    /// What ends the connection of a tester who has done that.
    template <class Action>
    std::vector<std::string> linesUntilTheEnd(Action act) {
        start();
        ScriptedTester tester(entity->port());
        EXPECT_EQ(tester.activate(), activated);
        act(tester);
        awaitLog("ended: ");
        const std::lock_guard lock(mutex);
        return log;
    }
};

} // namespace

TEST_F(EntityLog, TellsOfATesterFromTheBeginToTheEnd) {
    start();
    ScriptedTester tester(entity->port());
    const std::string name = " " + tester.name() + " ";
    ASSERT_EQ(tester.activate(), activated);
    tester.request(hex("3E 00"));
    ASSERT_TRUE(tester.isAcknowledged());
    ASSERT_EQ(tester.answer(), hex("7E 00"));
    tester.close();
    awaitLog("ended: ");
    entity->stop();
    EXPECT_THAT(
        log, ElementsAre(EndsWith(name + "connected"),
                         EndsWith(name + "routing activation of 0x0E80: routing is active (0x10)"),
                         EndsWith(name + "0x0E80 > 0x0010 3E 00 TesterPresent (0x3E)"),
                         EndsWith(name + "0x0010 > 0x0E80 7E 00 TesterPresent (0x3E)"),
                         EndsWith(name + "ended: the tester has closed the connection")));
}

TEST_F(EntityLog, TellsALossFromAnEnd) {
    if (Platform::oldConnectionsKeepTheAddress()) {
        GTEST_SKIP() << "a reset may look like an end there";
    }
    EXPECT_THAT(linesUntilTheEnd([](ScriptedTester& tester) { tester.reset(); }),
                Contains(HasSubstr("ended: the connection was lost: ")));
}

TEST_F(EntityLog, SaysWhomItRefuses) {
    start();
    ScriptedTester tester(entity->port());
    EXPECT_EQ(tester.activate(0x1234), 0x00);
    EXPECT_TRUE(tester.isClosed());
    entity->stop();
    EXPECT_THAT(log,
                ElementsAre(EndsWith("connected"),
                            EndsWith("routing activation of 0x1234: unknown source address (0x00)"),
                            EndsWith("ended: the routing activation was refused")));
}

TEST_F(EntityLog, SaysWhatItDoesNotPassOn) {
    EXPECT_THAT(
        linesUntilTheEnd(
            [](ScriptedTester& tester) { tester.request(hex("3E 00"), 0x11, 0x0E81); }),
        testing::IsSupersetOf(
            {EndsWith(" 0x0E81 > 0x0011 3E 00 TesterPresent (0x3E)"),
             EndsWith("not passed on to 0x0011: invalid source address (0x02)"),
             EndsWith("ended: the source address of a diagnostic message has no active routing")}));
}

TEST_F(EntityLog, SaysWhatItCannotRead) {
    EXPECT_THAT(
        linesUntilTheEnd(
            [](ScriptedTester& tester) { tester.sendRaw(hex("05 FA 80 01 00 00 00 00")); }),
        testing::IsSupersetOf({EndsWith("refused: protocol version 0x05, expected 0x02 to 0x04"),
                               EndsWith("ended: nothing more can be read after it")}));
}

TEST_F(EntityLog, SaysWhatTheTesterRefuses) {
    EXPECT_THAT(linesUntilTheEnd([](ScriptedTester& tester) {
                    tester.send(PayloadType::HeaderNack, hex("02"));
                    tester.close();
                }),
                Contains(EndsWith("the tester refused a message: message too large (0x02)")));
}

TEST_F(EntityLog, SaysWhichMisbehaviourStrikes) {
    options.misbehaviours = {{MisbehaviourKind::Late, hex("3E"), {}, 1, {}, 1h, 0},
                             {MisbehaviourKind::Close, hex("3E"), {}, 1, {}, {}, 0}};
    EXPECT_THAT(linesUntilTheEnd([](ScriptedTester& tester) { tester.request(hex("3E 00")); }),
                testing::IsSupersetOf({EndsWith(" misbehaviour: late, close"),
                                       EndsWith("ended: closed on request")}));
}

TEST_F(EntityLog, SaysThatAnAnswerWasBrokenOff) {
    options.misbehaviours = {{MisbehaviourKind::Cut, hex("3E"), {}, 1, {}, {}, 0}};
    EXPECT_THAT(linesUntilTheEnd([](ScriptedTester& tester) { tester.request(hex("3E 00")); }),
                testing::IsSupersetOf(
                    {EndsWith(" misbehaviour: cut"), EndsWith("ended: broken off on request")}));
}

TEST_F(EntityLog, SaysWhichControlUnitHasLostTheConnection) {
    faults.push_back({hex("3E 00"), {}, true, 0, {}, false});
    EXPECT_THAT(linesUntilTheEnd([](ScriptedTester& tester) { tester.request(hex("3E 00")); }),
                Contains(EndsWith("ended: the connection to  on L16 was lost")));
}

TEST_F(EntityLog, SaysThatTheVehicleLeaves) {
    EXPECT_THAT(linesUntilTheEnd([this](ScriptedTester&) { entity->stop(); }),
                Contains(EndsWith("ended: the vehicle leaves the network")));
}

} // namespace Quarlen::KelVehicle::Tests
