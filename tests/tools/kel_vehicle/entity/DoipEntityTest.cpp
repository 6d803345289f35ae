#include "tools/kel_vehicle/entity/DoipEntity.hpp"

#include <future>
#include <list>

#include "platform/ListeningSocket.hpp"
#include "tests/support/HexBytes.hpp"
#include "tests/tools/kel_vehicle/entity/EntityFixture.hpp"

namespace Quarlen::KelVehicle::Tests {
namespace {

using namespace std::chrono_literals;
using Doip::PayloadType;
using Quarlen::Tests::hex;

using DoipEntityTest = EntityTest;

TEST_F(DoipEntityTest, AcknowledgesARequestAndAnswersIt) {
    start();
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    tester.request(hex("3E 00"));
    EXPECT_TRUE(tester.isAcknowledged());
    EXPECT_EQ(tester.answer(), hex("7E 00"));
}

TEST_F(DoipEntityTest, TakesAMessageHoweverItIsCut) {
    start();
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    for (const auto byte :
         Doip::encode(PayloadType::DiagnosticMessage,
                      Doip::encode(Doip::DiagnosticMessage{0x0E80, 0x10, hex("3E 00")}))) {
        tester.sendRaw({byte});
    }
    EXPECT_TRUE(tester.isAcknowledged());
}

TEST_F(DoipEntityTest, LetsNobodyInWhomTheStandardKeepsOut) {
    start();
    const auto codeFor = [this](std::uint16_t address, std::uint8_t type) {
        ScriptedTester tester(entity->port());
        const int code = tester.activate(address, type);
        EXPECT_TRUE(tester.isClosed());
        return code;
    };
    EXPECT_EQ(codeFor(0x0DFF, 0), 0x00);
    EXPECT_EQ(codeFor(0x1000, 0), 0x00);
    EXPECT_EQ(codeFor(0x0E80, 0x02), 0x06);
}

TEST_F(DoipEntityTest, LetsInWhoeverHasAnAddressOfTesters) {
    start();
    for (const int address : {0x0E00, 0x0EFF, 0x0F00, 0x0FFF}) {
        ScriptedTester tester(entity->port());
        EXPECT_EQ(tester.activate(static_cast<std::uint16_t>(address)), activated);
    }
}

TEST_F(DoipEntityTest, MisbehavesFromItsFirstRequestOnWhereItIsToldBefore) {
    options.misbehaviours = {{MisbehaviourKind::Refuse, hex("3E"), {}, 1, 1, {}, 0x72}};
    start();
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    tester.request(hex("3E 00"));
    ASSERT_TRUE(tester.isAcknowledged());
    EXPECT_EQ(tester.answer(), hex("7F 3E 72"));
}

TEST_F(DoipEntityTest, HasOneAddressForEachConnection) {
    start();
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(0x0E80), activated);
    EXPECT_EQ(tester.activate(0x0E80), activated);
    EXPECT_EQ(tester.activate(0x0E81), 0x02);
    EXPECT_TRUE(tester.isClosed());
}

TEST_F(DoipEntityTest, AsksTheFormerTesterOfAnAddressWhetherItIsThere) {
    start();
    AskedTester tester(entity->port());
    tester.answer();
    EXPECT_EQ(tester.code.get(), 0x03);
}

TEST_F(DoipEntityTest, HasNoMoreTestersThanSockets) {
    options.maxSockets = 1;
    start();
    AskedTester tester(entity->port(), 0x0E81);
    tester.answer();
    EXPECT_EQ(tester.code.get(), 0x01);
}

TEST_F(DoipEntityTest, PassesNothingOnFromSomebodyElse) {
    start();
    ScriptedTester stranger(entity->port());
    stranger.request(hex("3E 00"));
    EXPECT_EQ(stranger.nack(), 0x02);
    EXPECT_TRUE(stranger.isClosed());
}

TEST_F(DoipEntityTest, PassesNothingOnToNobody) {
    start();
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    tester.request(hex("3E 00"), 0x99);
    EXPECT_EQ(tester.nack(), 0x03);
    tester.request(hex("3E 00"));
    EXPECT_TRUE(tester.isAcknowledged());
}

TEST_F(DoipEntityTest, ReachesAllControlUnitsAtAFunctionalAddress) {
    start();
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    tester.request(hex("3E 00"), 0xE400);
    EXPECT_TRUE(tester.isAcknowledged());
    EXPECT_EQ(tester.answer(), hex("7E 00"));
    EXPECT_EQ(tester.answer(), hex("7E 00"));
}

TEST_F(DoipEntityTest, ServesFiftyTestersAtOnce) {
    start();
    std::list<ScriptedTester> testers;
    for (std::uint16_t address = 0x0E00; address < 0x0E00 + 50; ++address) {
        ASSERT_EQ(testers.emplace_back(entity->port()).activate(address), activated);
    }
    std::uint16_t address = 0x0E00;
    for (auto& tester : testers) {
        tester.request(hex("3E 00"), 0x10, address++);
    }
    for (auto& tester : testers) {
        EXPECT_TRUE(tester.isAcknowledged());
        EXPECT_EQ(tester.answer(), hex("7E 00"));
    }
}

TEST_F(DoipEntityTest, LosesTheConnectionWithoutAcknowledgementForADescribedFault) {
    faults.push_back({hex("3E 00"), {}, true, 0, {}, false});
    start();
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    tester.request(hex("3E 00"));
    EXPECT_TRUE(tester.isClosed());
}

TEST_F(DoipEntityTest, MisbehavesOnRequest) {
    start();
    entity->add({MisbehaviourKind::Refuse, hex("3E"), {}, 1, 1, {}, 0x72});
    entity->add({MisbehaviourKind::NegativeAcknowledgement, hex("3E"), {}, 2, 1, {}, 0x06});
    entity->add({MisbehaviourKind::NoAcknowledgement, hex("3E"), {}, 3, 1, {}, 0});
    entity->add({MisbehaviourKind::Echo, hex("3E"), {}, 4, 1, {}, 0});
    entity->add({MisbehaviourKind::Slow, hex("3E"), {}, 5, 1, 1ms, 0});
    entity->add({MisbehaviourKind::Close, hex("3E"), {}, 6, 1, {}, 0});
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    tester.request(hex("3E 00"));
    EXPECT_TRUE(tester.isAcknowledged());
    EXPECT_EQ(tester.answer(), hex("7F 3E 72"));
    tester.request(hex("3E 00"));
    EXPECT_EQ(tester.nack(), 0x06);
    tester.request(hex("3E 00"));
    EXPECT_EQ(tester.answer(), hex("7E 00"));
    tester.request(hex("3E 00"));
    EXPECT_TRUE(tester.isAcknowledged());
    EXPECT_EQ(tester.answer(), hex("7E 01"));
    tester.request(hex("3E 00"));
    EXPECT_TRUE(tester.isAcknowledged());
    EXPECT_EQ(tester.answer(), hex("7E 00"));
    tester.request(hex("3E 00"));
    EXPECT_TRUE(tester.isAcknowledged());
    EXPECT_TRUE(tester.isClosed());
}

TEST_F(DoipEntityTest, BreaksOffAnAnswerInItsMiddleAndResetsTheConnection) {
    start();
    entity->add({MisbehaviourKind::Cut, hex("3E"), {}, 2, 1, {}, 0});
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    tester.request(hex("3E 00"));
    ASSERT_TRUE(tester.isAcknowledged());
    EXPECT_EQ(tester.answer(), hex("7E 00"));
    tester.request(hex("3E 00"));
    // On Windows' emulation a reset may look like an end, and it may overtake what has not been
    // read.
    EXPECT_TRUE(tester.isAcknowledged() || Platform::oldConnectionsKeepTheAddress());
    EXPECT_TRUE(tester.isReset() || Platform::oldConnectionsKeepTheAddress());
    EXPECT_TRUE(tester.isInMessage() || Platform::oldConnectionsKeepTheAddress());
    EXPECT_EQ(entity->testerCount(), 0U);
}

TEST_F(DoipEntityTest, TellsWhetherMessagesCameWhileItAskedForItsTesters) {
    start();
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    const auto check = [&](bool sends) {
        auto result = std::async(std::launch::async, [&] { return entity->checkAlive(); });
        EXPECT_TRUE(tester.receive()->is(PayloadType::AliveCheckRequest));
        if (sends) {
            tester.request(hex("3E 80"));
        }
        tester.send(PayloadType::AliveCheckResponse, Doip::encodeAddress(0x0E80));
        return result.get();
    };
    EXPECT_FALSE(check(false));
    EXPECT_TRUE(check(true));
}

} // namespace
} // namespace Quarlen::KelVehicle::Tests
