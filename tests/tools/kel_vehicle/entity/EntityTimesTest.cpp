#include <chrono>
#include <utility>
#include <vector>

#include "tests/support/HexBytes.hpp"
#include "tests/tools/kel_vehicle/entity/EntityFixture.hpp"

// What an entity does when, on a clock that the test moves.

namespace Quarlen::KelVehicle::Tests {
namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;
using testing::ElementsAre;

class EntityTimesTest : public EntityTest {
protected:
    EntityTimesTest() { options.times = {}; }

    void start() { EntityTest::start(clock); }
    /// Everything that is to go to the tester later, and when, counted from now. What is due goes
    /// by itself.
    std::vector<std::pair<std::chrono::milliseconds, Uds::Bytes>>
    laterAnswers(ScriptedTester& tester) {
        std::vector<std::pair<std::chrono::milliseconds, Uds::Bytes>> answers;
        const auto begin = clock.now();
        while (const auto due = entity->nextDue()) {
            pass(std::chrono::ceil<std::chrono::milliseconds>(*due - clock.now()));
            answers.emplace_back(
                std::chrono::duration_cast<std::chrono::milliseconds>(clock.now() - begin),
                tester.answer());
        }
        return answers;
    }
    static Misbehaviour of(MisbehaviourKind kind, std::chrono::milliseconds duration) {
        return {kind, hex("3E"), {}, 1, {}, duration, 0};
    }
};

} // namespace

TEST_F(EntityTimesTest, ATesterWithoutActivationIsLetGoAfterTwoSeconds) {
    start();
    ScriptedTester early(entity->port());
    ScriptedTester late(entity->port());
    // Both are in by then.
    early.sendRaw(hex("03 FC 12 34 00 00 00 00"));
    late.sendRaw(hex("03 FC 12 34 00 00 00 00"));
    ASSERT_EQ(early.headerNack(), 0x01);
    ASSERT_EQ(late.headerNack(), 0x01);
    pass(1'999ms);
    EXPECT_EQ(early.activate(), activated);
    pass(1ms);
    EXPECT_TRUE(late.isClosed());
    EXPECT_EQ(early.activate(), activated);
}

TEST_F(EntityTimesTest, ASilentTesterIsLetGoAfterFiveMinutes) {
    start();
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    pass(299'999ms);
    EXPECT_EQ(tester.activate(), activated);
    pass(299'999ms);
    EXPECT_EQ(entity->testerCount(), 1U);
    pass(1ms);
    EXPECT_TRUE(tester.isClosed());
}

TEST_F(EntityTimesTest, AControlUnitMayRefuseOnceItHasWorked) {
    start();
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    entity->add(of(MisbehaviourKind::Pending, 3s));
    entity->add({MisbehaviourKind::Refuse, hex("3E"), {}, 1, {}, {}, 0x72});
    tester.request(hex("3E 00"));
    ASSERT_TRUE(tester.isAcknowledged());
    EXPECT_EQ(tester.answer(), hex("7F 3E 78"));
    EXPECT_THAT(laterAnswers(tester), ElementsAre(std::pair(2'000ms, hex("7F 3E 78")),
                                                  std::pair(3'000ms, hex("7F 3E 72"))));
}

TEST_F(EntityTimesTest, SomeGatewaysLetATesterGoWithoutDiagnosticMessages) {
    options.times.testerPresent = 5s;
    start();
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    pass(4'999ms);
    tester.request(hex("3E 80"));
    EXPECT_TRUE(tester.isAcknowledged());
    pass(4'999ms);
    EXPECT_EQ(tester.activate(), activated);
    pass(1ms);
    EXPECT_TRUE(tester.isClosed());
}

TEST_F(EntityTimesTest, ATesterHasHalfASecondToSayThatItIsThere) {
    start();
    AskedTester tester(entity->port());
    pass(499ms);
    EXPECT_EQ(entity->testerCount(), 1U);
    pass(1ms);
    EXPECT_EQ(tester.code.get(), activated);
    EXPECT_TRUE(tester.first.isClosed());
}

TEST_F(EntityTimesTest, AnotherTestersWordIsNoAnswerToAnAliveCheck) {
    start();
    AskedTester tester(entity->port());
    tester.answer(0x0E81);
    // What it has sent before is served.
    tester.first.request(hex("3E 80"));
    EXPECT_TRUE(tester.first.isAcknowledged());
    pass(500ms);
    EXPECT_EQ(tester.code.get(), activated);
}

TEST_F(EntityTimesTest, AControlUnitThatNeedsTimeSaysSoAgainAndAgain) {
    start();
    entity->add(of(MisbehaviourKind::Pending, 12s));
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    tester.request(hex("3E 00"));
    EXPECT_TRUE(tester.isAcknowledged());
    EXPECT_EQ(tester.answer(), hex("7F 3E 78"));
    const auto answers = laterAnswers(tester);
    ASSERT_GE(answers.size(), 3U);
    EXPECT_LE(answers.front().first, 5s);
    for (std::size_t index = 0; index + 1 < answers.size(); ++index) {
        EXPECT_EQ(answers[index].second, hex("7F 3E 78"));
        // P2* of ISO 14229-2 is 5 s.
        EXPECT_LE(answers[index + 1].first - answers[index].first, 5s);
    }
    EXPECT_EQ(answers.back().second, hex("7E 00"));
    EXPECT_EQ(answers.back().first, 12s);
}

TEST_F(EntityTimesTest, ALateAnswerComesAtItsTime) {
    start();
    entity->add(of(MisbehaviourKind::Late, 3s));
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    tester.request(hex("3E 00"));
    EXPECT_TRUE(tester.isAcknowledged());
    EXPECT_THAT(laterAnswers(tester), ElementsAre(std::pair(3'000ms, hex("7E 00"))));
}

TEST_F(EntityTimesTest, SilenceLeavesNothingToSendUntilItIsCleared) {
    start();
    entity->add(of(MisbehaviourKind::Silence, {}));
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    tester.request(hex("3E 00"));
    EXPECT_TRUE(tester.isAcknowledged());
    EXPECT_EQ(entity->nextDue(), std::nullopt);
    entity->clearMisbehaviours();
    tester.request(hex("3E 00"));
    EXPECT_TRUE(tester.isAcknowledged());
    EXPECT_EQ(tester.answer(), hex("7E 00"));
    EXPECT_EQ(entity->nextDue(), std::nullopt);
}

TEST_F(EntityTimesTest, WhatIsToBeSentLaterEndsWithTheConnection) {
    start();
    entity->add(of(MisbehaviourKind::Late, 1h));
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    tester.request(hex("3E 00"));
    tester.request(hex("3E 00"));
    EXPECT_TRUE(tester.isAcknowledged());
    EXPECT_TRUE(tester.isAcknowledged());
    EXPECT_NE(entity->nextDue(), std::nullopt);
    tester.close();
    awaitLog("ended: ");
    EXPECT_EQ(entity->nextDue(), std::nullopt);
}

TEST_F(EntityTimesTest, AMessageThatGoesByteByByteEndsWithTheConnection) {
    start();
    entity->add(of(MisbehaviourKind::Slow, 1h));
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    tester.request(hex("3E 00"));
    EXPECT_TRUE(tester.isAcknowledged());
    pass(0ms);
    EXPECT_EQ(entity->nextDue(), clock.now() + 1h);
    tester.close();
    awaitLog("ended: ");
    EXPECT_EQ(entity->nextDue(), std::nullopt);
}

} // namespace Quarlen::KelVehicle::Tests
