#include <algorithm>
#include <future>

#include "tests/support/HexBytes.hpp"
#include "tests/tools/kel_vehicle/entity/EntityFixture.hpp"

// Who may come in where others are there already, on a clock that the test moves.

namespace Quarlen::KelVehicle::Tests {
namespace {

using namespace std::chrono_literals;
using Doip::PayloadType;
using Quarlen::Tests::hex;

class RoutingActivationTest : public EntityTest {
protected:
    RoutingActivationTest() { options.times = {}; }
    static void expectServed(ScriptedTester& tester, std::uint16_t address) {
        tester.request(hex("3E 00"), 0x10, address);
        EXPECT_TRUE(tester.isAcknowledged());
        EXPECT_EQ(tester.answer(), hex("7E 00"));
    }
};

} // namespace

TEST_F(RoutingActivationTest, TellsTesterAndEntity) {
    start(clock);
    ScriptedTester tester(entity->port());
    tester.send(PayloadType::RoutingActivationRequest,
                Doip::encode(Doip::RoutingActivationRequest{0x0E81}));
    const auto response = Doip::decodeRoutingActivationResponse(tester.receive()->payload);
    EXPECT_EQ(response.tester, 0x0E81);
    EXPECT_EQ(response.entity, 0x1000);
}

TEST_F(RoutingActivationTest, IsGivenForEachTypeOfTheStandard) {
    start(clock);
    for (const auto type : {Doip::activationDefault, Doip::activationRequiredByRegulation,
                            Doip::activationCentralSecurity}) {
        EXPECT_EQ(ScriptedTester(entity->port())
                      .activate(static_cast<std::uint16_t>(0x0E00 + type), type),
                  activated);
    }
}

TEST_F(RoutingActivationTest, IsRefusedForItsTypeBeforeTheAddressOfTheConnectionCounts) {
    start(clock);
    ScriptedTester tester(entity->port());
    ASSERT_EQ(tester.activate(), activated);
    EXPECT_EQ(tester.activate(0x0E81, 0x55), 0x06);
}

TEST_F(RoutingActivationTest, WaitsForAllOfThoseWhoAreAskedAndEndsOnlyTheSilent) {
    options.maxSockets = 2;
    start(clock);
    ScriptedTester there(entity->port());
    ScriptedTester silent(entity->port());
    ScriptedTester third(entity->port());
    ASSERT_EQ(there.activate(0x0E80), activated);
    ASSERT_EQ(silent.activate(0x0E81), activated);
    auto code = std::async(std::launch::async, [&] { return third.activate(0x0E82); });
    EXPECT_TRUE(there.receive()->is(PayloadType::AliveCheckRequest));
    EXPECT_TRUE(silent.receive()->is(PayloadType::AliveCheckRequest));
    there.send(PayloadType::AliveCheckResponse, Doip::encodeAddress(0x0E80));
    expectServed(there, 0x0E80);
    pass(500ms);
    EXPECT_EQ(code.get(), activated);
    EXPECT_TRUE(silent.isClosed());
    awaitLog("ended: the alive check was not answered in its time (T_TCP_Alive_Check)");
    expectServed(there, 0x0E80);
    expectServed(third, 0x0E82);
}

TEST_F(RoutingActivationTest, NeedsAnAnswerForEachWhoWantsTheAddress) {
    start(clock);
    ScriptedTester first(entity->port());
    ScriptedTester second(entity->port());
    ScriptedTester third(entity->port());
    ASSERT_EQ(first.activate(), activated);
    auto code = std::async(std::launch::async, [&] { return second.activate(); });
    auto other = std::async(std::launch::async, [&] { return third.activate(); });
    for (int count = 0; count < 2; ++count) {
        EXPECT_TRUE(first.receive()->is(PayloadType::AliveCheckRequest));
    }
    for (int count = 0; count < 2; ++count) {
        first.send(PayloadType::AliveCheckResponse, Doip::encodeAddress(0x0E80));
    }
    expectServed(first, 0x0E80);
    pass(500ms);
    EXPECT_EQ(code.get(), 0x03);
    EXPECT_EQ(other.get(), 0x03);
    EXPECT_EQ(entity->testerCount(), 1U);
}

TEST_F(RoutingActivationTest, TakesWhatATesterSendsMeanwhileOnceItIsIn) {
    start(clock);
    ScriptedTester first(entity->port());
    ScriptedTester second(entity->port());
    ASSERT_EQ(first.activate(), activated);
    auto both = Doip::encode(PayloadType::RoutingActivationRequest,
                             Doip::encode(Doip::RoutingActivationRequest{0x0E80}));
    const auto request =
        Doip::encode(PayloadType::DiagnosticMessage,
                     Doip::encode(Doip::DiagnosticMessage{0x0E80, 0x10, hex("3E 00")}));
    both.insert(both.end(), request.begin(), request.end());
    second.sendRaw(both);
    EXPECT_TRUE(first.receive()->is(PayloadType::AliveCheckRequest));
    pass(500ms);
    EXPECT_TRUE(second.receive()->is(PayloadType::RoutingActivationResponse));
    EXPECT_TRUE(second.isAcknowledged());
    EXPECT_EQ(second.answer(), hex("7E 00"));
    expectServed(second, 0x0E80);
}

TEST_F(RoutingActivationTest, IsNotGivenToWhoIsGoneBeforeTheOthersHaveAnswered) {
    options.times.aliveCheck = 1h;
    start(clock);
    ScriptedTester first(entity->port());
    ScriptedTester second(entity->port());
    ASSERT_EQ(first.activate(), activated);
    auto code = std::async(std::launch::async, [&] { return second.activate(); });
    EXPECT_TRUE(first.receive()->is(PayloadType::AliveCheckRequest));
    pass(2s);
    EXPECT_EQ(code.get(), -1);
    // What it sends is read until it ends its side, too.
    second.sendRaw(Doip::Bytes(std::size_t{32} * 1024 * 1024, 0x3E));
    first.close();
    awaitLog("ended: the tester has closed the connection");
    entity->stop();
    EXPECT_EQ(std::count_if(log.begin(), log.end(),
                            [](const std::string& line) {
                                return line.find("routing is active") != std::string::npos;
                            }),
              1);
}

} // namespace Quarlen::KelVehicle::Tests
