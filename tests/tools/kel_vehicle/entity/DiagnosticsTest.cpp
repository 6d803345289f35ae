#include "tools/kel_vehicle/entity/Diagnostics.hpp"

#include <utility>
#include <vector>

#include "platform/ListeningSocket.hpp"
#include "tests/support/HexBytes.hpp"
#include "tests/tools/kel_vehicle/entity/EntityFixture.hpp"

namespace Quarlen::KelVehicle::Tests {
namespace {

using namespace std::chrono_literals;
using Doip::PayloadType;
using Quarlen::Tests::hex;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

/// Of a control unit.
using Answer = std::pair<std::uint16_t, Uds::Bytes>;

class DiagnosticsTest : public EntityTest {
protected:
    /// With a tester whose routing is active.
    void begin() {
        start(clock);
        tester = std::make_unique<ScriptedTester>(entity->port());
        ASSERT_EQ(tester->activate(), activated);
    }
    std::vector<Answer> answers(std::size_t count) {
        std::vector<Answer> all;
        for (; count > 0; --count) {
            const auto message = tester->receive().value();
            EXPECT_TRUE(message.is(PayloadType::DiagnosticMessage));
            auto answer = Doip::decodeDiagnosticMessage(message.payload);
            EXPECT_EQ(answer.target, 0x0E80);
            all.emplace_back(answer.source, std::move(answer.data));
        }
        return all;
    }
    /// Nothing else has been sent before.
    void expectServed() {
        tester->request(hex("22 F1 90"));
        EXPECT_TRUE(tester->isAcknowledged());
        EXPECT_EQ(tester->answer(), hex("7F 22 31"));
    }
    static Misbehaviour of(MisbehaviourKind kind, std::chrono::milliseconds duration,
                           std::uint8_t code = 0) {
        return {kind, hex("3E"), {}, 1, {}, duration, code};
    }

    std::unique_ptr<ScriptedTester> tester;
};

} // namespace

TEST_F(DiagnosticsTest, ReachesAllAtEachFunctionalAddressAndNoOther) {
    begin();
    for (const int address : {0xE000, 0xE400, 0xEFFF}) {
        tester->request(hex("3E 00"), static_cast<std::uint16_t>(address));
        ASSERT_TRUE(tester->isAcknowledged()) << address;
        EXPECT_THAT(answers(2),
                    UnorderedElementsAre(Answer(0x10, hex("7E 00")), Answer(0x11, hex("7E 00"))));
    }
    for (const int address : {0xDFFF, 0xF000}) {
        tester->request(hex("3E 00"), static_cast<std::uint16_t>(address));
        EXPECT_EQ(tester->nack(), 0x03) << address;
    }
}

TEST_F(DiagnosticsTest, AnswersWhatIsDueBeforeItTakesTheNextMessage) {
    begin();
    const auto request =
        Doip::encode(PayloadType::DiagnosticMessage,
                     Doip::encode(Doip::DiagnosticMessage{0x0E80, 0x10, hex("3E 00")}));
    auto both = request;
    both.insert(both.end(), request.begin(), request.end());
    tester->sendRaw(both);
    for (int count = 0; count < 2; ++count) {
        EXPECT_TRUE(tester->isAcknowledged());
        EXPECT_EQ(tester->answer(), hex("7E 00"));
    }
}

TEST_F(DiagnosticsTest, AcknowledgesFromTheTargetWithoutTheMessage) {
    begin();
    tester->request(hex("3E 80"));
    const auto ack = Doip::decodeDiagnosticAck(tester->receive()->payload);
    EXPECT_EQ(ack.source, 0x10);
    EXPECT_EQ(ack.target, 0x0E80);
    EXPECT_EQ(ack.code, 0x00);
    EXPECT_EQ(ack.previous, Uds::Bytes());
}

TEST_F(DiagnosticsTest, RefusesFromTheTargetThatIsNotThere) {
    begin();
    tester->request(hex("3E 00"), 0x99);
    const auto nack = Doip::decodeDiagnosticNack(tester->receive()->payload);
    EXPECT_EQ(nack.source, 0x99);
    EXPECT_EQ(nack.target, 0x0E80);
}

TEST_F(DiagnosticsTest, TakesTheLongestRequestAndNoneThatIsLonger) {
    begin();
    tester->request(Uds::Bytes(maxRequest, 0x3E));
    EXPECT_TRUE(tester->isAcknowledged());
    EXPECT_EQ(tester->answer(), hex("7F 3E 12"));
    tester->request(Uds::Bytes(maxRequest + 1, 0x3E));
    EXPECT_EQ(tester->nack(), 0x04);
    expectServed();
}

TEST_F(DiagnosticsTest, AnswersNothingThatItHasRefusedOnRequest) {
    begin();
    entity->add(of(MisbehaviourKind::NegativeAcknowledgement, {}, 0x06));
    tester->request(hex("3E 00"));
    EXPECT_EQ(tester->nack(), 0x06);
    expectServed();
}

TEST_F(DiagnosticsTest, MisbehavesAtTheAddressThatWasAsked) {
    begin();
    entity->add({MisbehaviourKind::Refuse, hex("3E"), 0x10, 1, {}, {}, 0x22});
    tester->request(hex("3E 00"), 0xE400);
    ASSERT_TRUE(tester->isAcknowledged());
    EXPECT_THAT(answers(2),
                UnorderedElementsAre(Answer(0x10, hex("7E 00")), Answer(0x11, hex("7E 00"))));
    tester->request(hex("3E 00"));
    ASSERT_TRUE(tester->isAcknowledged());
    EXPECT_THAT(answers(1), ElementsAre(Answer(0x10, hex("7F 3E 22"))));
}

TEST_F(DiagnosticsTest, RefusesFromEachControlUnitThatWasAsked) {
    begin();
    entity->add(of(MisbehaviourKind::Refuse, {}, 0x22));
    tester->request(hex("3E 00"), 0xE400);
    ASSERT_TRUE(tester->isAcknowledged());
    EXPECT_THAT(answers(2),
                UnorderedElementsAre(Answer(0x10, hex("7F 3E 22")), Answer(0x11, hex("7F 3E 22"))));
    tester->request(hex("3E 00"), 0x1000);
    ASSERT_TRUE(tester->isAcknowledged());
    EXPECT_THAT(answers(1), ElementsAre(Answer(0x1000, hex("7F 3E 22"))));
    expectServed();
}

TEST_F(DiagnosticsTest, RefusesInsteadOfAskingForMoreTimeAtTheEndOfIt) {
    begin();
    entity->add(of(MisbehaviourKind::Pending, 4s));
    entity->add(of(MisbehaviourKind::Refuse, {}, 0x22));
    tester->request(hex("3E 00"));
    ASSERT_TRUE(tester->isAcknowledged());
    EXPECT_EQ(tester->answer(), hex("7F 3E 78"));
    pass(2s);
    EXPECT_EQ(tester->answer(), hex("7F 3E 78"));
    pass(2s);
    EXPECT_EQ(tester->answer(), hex("7F 3E 22"));
    expectServed();
}

TEST_F(DiagnosticsTest, LetsAllControlUnitsWorkLonger) {
    begin();
    entity->add(of(MisbehaviourKind::Pending, 1s));
    tester->request(hex("3E 00"), 0xE400);
    ASSERT_TRUE(tester->isAcknowledged());
    EXPECT_THAT(answers(2),
                UnorderedElementsAre(Answer(0x10, hex("7F 3E 78")), Answer(0x11, hex("7F 3E 78"))));
    pass(1s);
    EXPECT_THAT(answers(2),
                UnorderedElementsAre(Answer(0x10, hex("7E 00")), Answer(0x11, hex("7E 00"))));
}

TEST_F(DiagnosticsTest, BreaksOffTheLastOfSeveralAnswers) {
    begin();
    entity->add(of(MisbehaviourKind::Pending, 1s));
    entity->add(of(MisbehaviourKind::Cut, {}));
    tester->request(hex("3E 00"));
    ASSERT_TRUE(tester->isAcknowledged());
    EXPECT_EQ(tester->answer(), hex("7F 3E 78"));
    EXPECT_EQ(entity->testerCount(), 1U);
    pass(1s);
    EXPECT_TRUE(tester->isClosed());
    EXPECT_TRUE(tester->isInMessage() || Platform::oldConnectionsKeepTheAddress());
}

} // namespace Quarlen::KelVehicle::Tests
