#include <list>
#include <thread>

#include "tests/support/HexBytes.hpp"
#include "tests/tools/kel_vehicle/entity/EntityFixture.hpp"

namespace Quarlen::KelVehicle::Tests {
namespace {

using Doip::PayloadType;
using Quarlen::Tests::hex;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

Doip::Bytes headerOf(PayloadType type, std::size_t length) {
    const auto header = Doip::encode(Doip::Header{
        Doip::version2019, static_cast<std::uint16_t>(type), static_cast<std::uint32_t>(length)});
    return {header.begin(), header.end()};
}

Doip::Bytes manyOf(const Doip::Bytes& message, std::size_t count) {
    Doip::Bytes all;
    all.reserve(message.size() * count);
    for (; count > 0; --count) {
        all.insert(all.end(), message.begin(), message.end());
    }
    return all;
}

class HostileTester : public EntityTest {
protected:
    /// The refusal of such bytes from somebody who has just come; -1 when there is none.
    int refusal(const char* bytes) {
        ScriptedTester tester(entity->port());
        tester.sendRaw(hex(bytes));
        const int code = tester.headerNack();
        EXPECT_EQ(tester.activate() == activated, !endsConnection(code)) << bytes;
        return code;
    }
    static bool endsConnection(int code) { return code == 0x00 || code == 0x04; }
    /// Nobody else notices anything.
    void expectOthersServed() {
        ScriptedTester tester(entity->port());
        ASSERT_EQ(tester.activate(0x0E99), activated);
        tester.request(hex("3E 00"), 0x10, 0x0E99);
        EXPECT_TRUE(tester.isAcknowledged());
        EXPECT_EQ(tester.answer(), hex("7E 00"));
    }
    std::unique_ptr<ScriptedTester> testerOfUnitThatTakesNothing() {
        faults.push_back({hex("3E 00"), {}, false, 0, {}, true});
        start();
        auto tester = std::make_unique<ScriptedTester>(entity->port());
        EXPECT_EQ(tester->activate(), activated);
        tester->request(hex("3E 00"));
        awaitLog("takes no message any more");
        return tester;
    }
};

} // namespace

TEST_F(HostileTester, IsToldWhatIsWrongWithAHeader) {
    start();
    EXPECT_EQ(refusal("03 FD 00 05 00 00 00 07"), 0x00);
    EXPECT_EQ(refusal("77 88 00 05 00 00 00 07"), 0x00);
    EXPECT_EQ(refusal("01 FE 00 05 00 00 00 07"), 0x00);
    EXPECT_EQ(refusal("03 FC 12 34 00 00 00 00"), 0x01);
    EXPECT_EQ(refusal("03 FC 12 34 00 00 00 03 AA BB CC"), 0x01);
    EXPECT_EQ(refusal("03 FC 00 01 00 00 00 00"), 0x01);
    EXPECT_EQ(refusal("03 FC 80 02 00 00 00 05 00 10 0E 80 00"), 0x01);
}

TEST_F(HostileTester, IsToldThatAPayloadIsTooShort) {
    start();
    EXPECT_EQ(refusal("03 FC 00 05 00 00 00 00"), 0x04);
    EXPECT_EQ(refusal("03 FC 00 05 00 00 00 06 0E 80 00 00 00 00"), 0x04);
    EXPECT_EQ(refusal("03 FC 00 05 00 00 00 08 0E 80 00 00 00 00 00 00"), 0x04);
    EXPECT_EQ(refusal("03 FC 00 08 00 00 00 01 0E"), 0x04);
    EXPECT_EQ(refusal("03 FC 80 01 00 00 00 00"), 0x04);
    EXPECT_EQ(refusal("03 FC 80 01 00 00 00 04 0E 80 00 10"), 0x04);
    EXPECT_EQ(refusal("03 FC 00 00 00 00 00 00"), 0x04);
}

TEST_F(HostileTester, IsServedAgainBehindAPayloadThatIsTooLong) {
    start();
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    tester.sendRaw(headerOf(PayloadType::DiagnosticMessage, maxPayload + 1));
    EXPECT_EQ(tester.headerNack(), 0x02);
    tester.sendRaw(Doip::Bytes(maxPayload + 1, 0x3E));
    tester.request(hex("3E 00"));
    EXPECT_TRUE(tester.isAcknowledged());
}

TEST_F(HostileTester, FourGigabytesAreNotKept) {
    start();
    for (const auto type :
         {PayloadType::RoutingActivationRequest, PayloadType::DiagnosticMessage}) {
        ScriptedTester tester(entity->port());
        tester.sendRaw(headerOf(type, 0xFFFFFFFF));
        EXPECT_EQ(tester.headerNack(), 0x02);
        tester.sendRaw(Doip::Bytes(100'000, 0));
    }
    expectOthersServed();
}

TEST_F(HostileTester, HalfMessagesDoNotTakeTheMemory) {
    start();
    std::list<ScriptedTester> halves;
    for (std::size_t bytes = 0; bytes < maxHalfMessages; bytes += maxRequest) {
        halves.emplace_back(entity->port())
            .sendRaw(headerOf(PayloadType::DiagnosticMessage, maxRequest));
    }
    ScriptedTester tester(entity->port());
    while (tester.activate() == activated) {
        std::this_thread::yield();
    }
    halves.front().close();
    awaitLog("the tester has closed the connection");
    EXPECT_EQ(tester.activate(), activated);
}

TEST_F(HostileTester, WhoSendsButNeverReadsIsLetGo) {
    faults.push_back({hex("22 F1 90"), Uds::Bytes(4096, 0x62), false, 0, {}, false});
    start();
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    const auto request =
        Doip::encode(PayloadType::DiagnosticMessage,
                     Doip::encode(Doip::DiagnosticMessage{0x0E80, 0x10, hex("22 F1 90")}));
    const auto flood = manyOf(request, 100);
    while (tester.trySend(flood)) {
    }
    awaitLog("the tester does not read what it is sent");
    expectOthersServed();
}

TEST_F(HostileTester, AnswersThatAreToComeAreBoundedToo) {
    constexpr std::size_t answerSize = 4096;
    faults.push_back({hex("22 F1 90"), Uds::Bytes(answerSize, 0x62), false, 0, {}, false});
    start();
    entity->add({MisbehaviourKind::Late, hex("22"), {}, 1, {}, std::chrono::hours(1), 0});
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    std::size_t taken = 0;
    do {
        tester.request(hex("22 F1 90"));
    } while (tester.isAcknowledged() && ++taken <= maxUnsent / answerSize);
    EXPECT_LT(taken, maxUnsent / answerSize);
    awaitLog("the tester does not read what it is sent");
    EXPECT_EQ(entity->nextDue(), std::nullopt);
}

TEST_F(HostileTester, IsNotHeardButItsEndIsOnceAControlUnitTakesNothing) {
    const auto tester = testerOfUnitThatTakesNothing();
    tester->request(hex("22 F1 90"));
    tester->close();
    awaitLog("ended: ");
    EXPECT_EQ(entity->testerCount(), 0U);
    const std::lock_guard lock(mutex);
    EXPECT_THAT(log, Not(Contains(HasSubstr("22 F1 90"))));
}

TEST_F(HostileTester, IsReadNoFurtherOnceNobodyHearsIt) {
    const auto tester = testerOfUnitThatTakesNothing();
    // More than the buffers of any system.
    constexpr std::size_t much = std::size_t{128} * 1024 * 1024;
    const Doip::Bytes block(maxUnheard, 0x3E);
    std::size_t sent = 0;
    for (int refused = 0; refused < 1000 && sent < much; ++refused) {
        const std::size_t taken = tester->sendSome(block);
        sent += taken;
        refused = taken > 0 ? 0 : refused;
        // The entity has had its turn.
        (void)entity->testerCount();
    }
    EXPECT_LT(sent, much);
}

TEST_F(HostileTester, ClosesAtEveryStep) {
    start();
    const auto whole =
        Doip::encode(PayloadType::DiagnosticMessage,
                     Doip::encode(Doip::DiagnosticMessage{0x0E80, 0x10, hex("22 F1 90")}));
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        ScriptedTester tester(entity->port());
        if (size % 2 == 0) {
            EXPECT_EQ(tester.activate(), activated);
        }
        tester.sendRaw({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)});
        tester.close();
    }
    expectOthersServed();
}

TEST_F(HostileTester, AnswersThatNobodyAskedForDoNoHarm) {
    start();
    ScriptedTester tester(entity->port());
    tester.send(PayloadType::AliveCheckResponse, Doip::encodeAddress(0x0E80));
    ASSERT_EQ(tester.activate(), activated);
    for (int count = 0; count < 1000; ++count) {
        tester.send(PayloadType::AliveCheckResponse, Doip::encodeAddress(0x0E80));
        tester.send(PayloadType::HeaderNack, hex("02"));
    }
    tester.request(hex("3E 00"));
    EXPECT_TRUE(tester.isAcknowledged());
    EXPECT_EQ(tester.answer(), hex("7E 00"));
}

TEST_F(HostileTester, ManyWhoOnlyConnectLeaveRoomForOthers) {
    options.maxSockets = 2;
    start();
    ScriptedTester first(entity->port());
    ASSERT_EQ(first.activate(), activated);
    std::list<ScriptedTester> idle;
    for (std::size_t count = 0; count < maxNewConnections + 2; ++count) {
        idle.emplace_back(entity->port());
    }
    awaitLog("one connection too many was closed");
    EXPECT_TRUE(idle.back().isClosed());
    first.request(hex("3E 00"));
    EXPECT_TRUE(first.isAcknowledged());
    EXPECT_EQ(idle.front().activate(0x0E81), activated);
}

TEST_F(HostileTester, TheGatewayTakesWhatKeepsTheConnectionAndNothingElse) {
    start();
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    tester.request(hex("3E 80"), 0x1000);
    EXPECT_TRUE(tester.isAcknowledged());
    tester.request(hex("3E 00"), 0x1000);
    EXPECT_TRUE(tester.isAcknowledged());
    EXPECT_EQ(tester.answer(), hex("7E 00"));
    for (const char* const other : {"3E", "3E 01", "3E 00 00", "22 F1 90", "10 03"}) {
        tester.request(hex(other), 0x1000);
        EXPECT_EQ(tester.nack(), 0x03) << other;
    }
}

} // namespace Quarlen::KelVehicle::Tests
