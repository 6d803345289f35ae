#include <algorithm>

#include "tests/support/HexBytes.hpp"
#include "tests/tools/kel_vehicle/entity/EntityFixture.hpp"

// What goes to testers who are slow, and to those whose connection ends.

namespace Quarlen::KelVehicle::Tests {
namespace {

using namespace std::chrono_literals;
using Doip::PayloadType;
using Quarlen::Tests::hex;

class TesterSending : public EntityTest {
protected:
    /// Of a control unit that answers `22` with so many bytes.
    void begin(std::size_t answerSize = 2) {
        faults.push_back({hex("22 F1 90"), Uds::Bytes(answerSize, 0x62), false, 0, {}, false});
        start(clock);
        tester = std::make_unique<ScriptedTester>(entity->port());
        ASSERT_EQ(tester->activate(), activated);
    }

    std::unique_ptr<ScriptedTester> tester;
};

} // namespace

TEST_F(TesterSending, WhoReadsLateGetsEverything) {
    constexpr std::size_t size = maxUnsent - 4096;
    begin(size);
    tester->request(hex("22 F1 90"));
    awaitLog("0x0010 > 0x0E80 62 62");
    EXPECT_TRUE(tester->isAcknowledged());
    EXPECT_EQ(tester->answer().size(), size);
}

TEST_F(TesterSending, WhatWasSentNoLongerWaits) {
    constexpr std::size_t size = maxUnsent / 2;
    begin(size);
    for (int count = 0; count < 3; ++count) {
        tester->request(hex("22 F1 90"));
        ASSERT_TRUE(tester->isAcknowledged());
        EXPECT_EQ(tester->answer().size(), size);
    }
}

TEST_F(TesterSending, WhatMayWaitIsBoundedToTheByte) {
    begin(maxUnsent - perMessage - Doip::addressesSize);
    entity->add({MisbehaviourKind::Late, hex("22"), {}, 1, {}, 1h, 0});
    tester->request(hex("22 F1 90"));
    ASSERT_TRUE(tester->isAcknowledged());
    EXPECT_EQ(entity->testerCount(), 1U);
    tester->request(hex("3E 80"));
    EXPECT_TRUE(tester->isClosed());
    awaitLog("ended: the tester does not read what it is sent");
}

TEST_F(TesterSending, WhatIsSentByteByByteComesWholeBeforeTheEnd) {
    begin();
    entity->add({MisbehaviourKind::Slow, hex("3E"), {}, 1, {}, 1ms, 0});
    tester->request(hex("3E 00"));
    ASSERT_TRUE(tester->isAcknowledged());
    tester->request(hex("3E 00"), 0x10, 0x0E81);
    awaitLog("ended: ");
    while (entity->nextDue()) {
        pass(1ms);
    }
    EXPECT_EQ(tester->answer(), hex("7E 00"));
    EXPECT_EQ(tester->nack(), 0x02);
    EXPECT_TRUE(tester->isClosed());
}

TEST_F(TesterSending, WhoDoesNotEndItsSideIsLetGoAfterASecond) {
    begin();
    EXPECT_EQ(tester->activate(0x0E81), 0x02);
    ASSERT_TRUE(tester->isClosed());
    pass(1s);
    while (tester->trySend(hex("00"))) {
    }
    EXPECT_EQ(entity->testerCount(), 0U);
    entity->stop();
    EXPECT_EQ(std::count_if(log.begin(), log.end(),
                            [](const std::string& line) {
                                return line.find("ended: ") != std::string::npos;
                            }),
              1);
}

TEST_F(TesterSending, AnswersInTheVersionOfTheTester) {
    start(clock);
    ScriptedTester other(entity->port());
    for (const std::uint8_t version : {Doip::version2012, Doip::version2025}) {
        other.sendRaw(Doip::encode(PayloadType::PowerModeRequest, {}, version));
        EXPECT_EQ(other.receive()->version, version);
        other.sendRaw(Doip::encode(PayloadType::RoutingActivationRequest,
                                   Doip::encode(Doip::RoutingActivationRequest{0x0E80}), version));
        EXPECT_EQ(other.receive()->version, version);
        other.sendRaw(Doip::encode(
            PayloadType::DiagnosticMessage,
            Doip::encode(Doip::DiagnosticMessage{0x0E80, 0x10, hex("3E 00")}), version));
        EXPECT_EQ(other.receive()->version, version);
        EXPECT_EQ(other.receive()->version, version);
    }
}

} // namespace Quarlen::KelVehicle::Tests
