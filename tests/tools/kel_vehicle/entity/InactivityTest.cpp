#include "tests/support/HexBytes.hpp"
#include "tests/tools/kel_vehicle/entity/EntityFixture.hpp"

// What prolongs the time that a tester has, on a clock that the test moves.

namespace Quarlen::KelVehicle::Tests {
namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;

class InactivityTest : public EntityTest {
protected:
    InactivityTest() { options.times = {}; }
    /// With a tester who has come, and whose routing is not active.
    void begin() {
        start(clock);
        tester = std::make_unique<ScriptedTester>(entity->port());
        sendWhatIsRefused();
    }
    void sendWhatIsRefused() {
        tester->sendRaw(hex("03 FC 12 34 00 00 00 00"));
        ASSERT_EQ(tester->headerNack(), 0x01);
    }
    void expectEnded(const std::string& cause) {
        EXPECT_TRUE(tester->isClosed());
        awaitLog("ended: " + cause);
    }

    std::unique_ptr<ScriptedTester> tester;
};

} // namespace

TEST_F(InactivityTest, NothingButAnActivationProlongsTheTimeUntilIt) {
    begin();
    pass(1'999ms);
    sendWhatIsRefused();
    pass(1ms);
    expectEnded("no routing activation came in its time (T_TCP_Initial_Inactivity)");
}

TEST_F(InactivityTest, AnActivationMayShortenTheTime) {
    options.times.generalInactivity = 1s;
    begin();
    ASSERT_EQ(tester->activate(), activated);
    pass(999ms);
    EXPECT_EQ(entity->testerCount(), 1U);
    pass(1ms);
    EXPECT_EQ(entity->testerCount(), 0U);
    expectEnded("nothing was sent or received for too long (T_TCP_General_Inactivity)");
}

TEST_F(InactivityTest, WhatATesterSendsCountsWithoutAnAnswer) {
    begin();
    entity->add({MisbehaviourKind::NoAcknowledgement, hex("3E"), {}, 1, {}, {}, 0});
    ASSERT_EQ(tester->activate(), activated);
    pass(299'999ms);
    tester->request(hex("3E 80"));
    awaitLog("0x0E80 > 0x0010 3E 80");
    pass(299'999ms);
    EXPECT_EQ(entity->testerCount(), 1U);
    pass(1ms);
    EXPECT_EQ(entity->testerCount(), 0U);
}

TEST_F(InactivityTest, WhatATesterIsSentCountsWithoutAWordOfIt) {
    begin();
    entity->add({MisbehaviourKind::Late, hex("3E"), {}, 1, {}, 299'999ms, 0});
    ASSERT_EQ(tester->activate(), activated);
    tester->request(hex("3E 00"));
    ASSERT_TRUE(tester->isAcknowledged());
    pass(299'999ms);
    EXPECT_EQ(tester->answer(), hex("7E 00"));
    pass(299'999ms);
    EXPECT_EQ(entity->testerCount(), 1U);
    pass(1ms);
    EXPECT_EQ(entity->testerCount(), 0U);
}

TEST_F(InactivityTest, WhatIsSentAtItsLastMomentIsInTime) {
    begin();
    entity->add({MisbehaviourKind::Late, hex("3E"), {}, 1, {}, 300'000ms, 0});
    ASSERT_EQ(tester->activate(), activated);
    tester->request(hex("3E 00"));
    ASSERT_TRUE(tester->isAcknowledged());
    pass(300'000ms);
    EXPECT_EQ(entity->testerCount(), 1U);
    EXPECT_EQ(tester->answer(), hex("7E 00"));
}

TEST_F(InactivityTest, TheTimeForDiagnosticMessagesBeginsWithTheActivation) {
    options.times.testerPresent = 5s;
    begin();
    pass(1'999ms);
    ASSERT_EQ(tester->activate(), activated);
    pass(4'999ms);
    EXPECT_EQ(entity->testerCount(), 1U);
    pass(1ms);
    EXPECT_EQ(entity->testerCount(), 0U);
    expectEnded("no diagnostic message came in its time");
}

} // namespace Quarlen::KelVehicle::Tests
