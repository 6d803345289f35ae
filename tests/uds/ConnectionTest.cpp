#include "uds/Connection.hpp"

#include <functional>
#include <map>
#include <memory>

#include <gtest/gtest.h>

#include "tests/support/FakeClock.hpp"
#include "tests/support/HexBytes.hpp"
#include "tests/support/KeptBusEvent.hpp"
#include "tests/support/ScriptedEndpoint.hpp"
#include "tests/support/TestInterface.hpp"

namespace Quarlen::Uds::Tests {
namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::EndpointScript;
using Quarlen::Tests::hex;

/// Control units that answer as scripted, those of the links A to D.
class ScriptedInterface : public Quarlen::Tests::TestInterface {
public:
    explicit ScriptedInterface(Quarlen::Tests::FakeClock& clock) : clock(clock) {}

    [[nodiscard]] std::optional<std::uint16_t> tester() const override { return 0x0E81; }
    [[nodiscard]] UnitAddress resolve(const UnitAddress& unit) const override {
        if (unit.link > L"D") {
            throw LinkError(L"no link " + unit.link);
        }
        return TestInterface::resolve(unit);
    }
    std::unique_ptr<Endpoint> openEndpoint(const UnitAddress& unit) override {
        if (onOpen) {
            onOpen();
        }
        ++opened[unit.link];
        return std::make_unique<Quarlen::Tests::ScriptedEndpoint>(scripts[unit.link], clock);
    }

    std::map<std::wstring, EndpointScript> scripts;
    std::map<std::wstring, int> opened;
    /// Each opening of an end throws it; empty for none.
    std::function<void()> onOpen;

private:
    Quarlen::Tests::FakeClock& clock;
};

class ConnectionTest : public testing::Test {
protected:
    ConnectionTest() { vehicle->open({}); }

    void answer(const wchar_t* link, std::chrono::milliseconds delay, const char* response) {
        vehicle->scripts[link].answerNext({{delay, hex(response)}});
    }
    std::vector<bool> whoAnswers(const std::vector<const wchar_t*>& links) {
        std::vector<UnitAddress> units;
        for (const auto* const link : links) {
            units.push_back({link});
        }
        return connection.whoAnswers(units, hex("3E 00"), cancel.get_token());
    }
    /// Those of one functional address.
    std::vector<bool> whoOfAllAnswers(const std::vector<const wchar_t*>& links) {
        std::vector<UnitAddress> units;
        for (const auto* const link : links) {
            units.push_back({link, std::nullopt, std::uint16_t{0xE400}});
        }
        return connection.whoAnswers(units, hex("3E 00"), cancel.get_token());
    }
    /// To the functional request; the control units have the addresses 1, 2 and so on.
    void answerToAll(std::vector<EndpointScript::Response> responses) {
        vehicle->scripts[L""].answerNext(std::move(responses));
    }
    VehicleLink heldInSession(const wchar_t* name) {
        VehicleLink link = connection.openLink({name});
        answer(name, 0ms, "50 03 00 32 01 F4");
        link.channel().exchange(hex("10 03"), {});
        link.holdSession();
        return link;
    }

    Quarlen::Tests::FakeClock clock;
    const Platform::Clock::TimePoint begin = clock.now();
    std::shared_ptr<ScriptedInterface> vehicle = std::make_shared<ScriptedInterface>(clock);
    std::stop_source cancel;
    std::vector<Quarlen::Tests::KeptBusEvent> events;
    Connection connection{vehicle, clock, Timing{},
                          [this](const BusEvent& event) { events.push_back(event); }};
};

TEST_F(ConnectionTest, HasOneChannelForEachControlUnit) {
    const VehicleLink first = connection.openLink({L"A"});
    const VehicleLink second = connection.openLink({L"A"});
    const VehicleLink other = connection.openLink({L"B"});
    EXPECT_EQ(&first.channel(), &second.channel());
    EXPECT_NE(&first.channel(), &other.channel());
    EXPECT_EQ(vehicle->opened[L"A"], 1);
}

TEST_F(ConnectionTest, TellsALinkThatTheVehicleDoesNotHave) {
    EXPECT_THROW(static_cast<void>(connection.openLink({L"X"})), LinkError);
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].kind, BusEvent::Kind::Lost);
    EXPECT_EQ(events[0].text, L"no link X");
    EXPECT_TRUE(events[0].bytes.empty());
}

TEST_F(ConnectionTest, AsksAllAtTheSameTime) {
    answer(L"A", 900ms, "7E 00");
    answer(L"C", 950ms, "7F 3E 22");
    EXPECT_EQ(whoAnswers({L"A", L"B", L"C", L"D"}), (std::vector<bool>{true, false, true, false}));
    EXPECT_EQ(clock.now() - begin, 1000ms);
}

TEST_F(ConnectionTest, TakesAControlUnitThatAsksForTimeForOneThatAnswers) {
    vehicle->scripts[L"A"].answerNext({{1ms, hex("7F 3E 78")}, {4000ms, hex("7E 00")}});
    EXPECT_EQ(whoAnswers({L"A"}), std::vector<bool>{true});
    EXPECT_EQ(clock.now() - begin, 1ms);
}

TEST_F(ConnectionTest, IsNotAnsweredByAResponseToSomethingElse) {
    answer(L"A", 1ms, "62 F1 90");
    EXPECT_EQ(whoAnswers({L"A"}), std::vector<bool>{false});
}

TEST_F(ConnectionTest, AsksAControlUnitOnceHoweverOftenItIsNamed) {
    answer(L"A", 1ms, "7E 00");
    EXPECT_EQ(whoAnswers({L"A", L"A"}), (std::vector<bool>{true, true}));
    EXPECT_EQ(vehicle->scripts[L"A"].requests.size(), 1U);
}

TEST_F(ConnectionTest, GetsNoAnswerFromALinkThatTheVehicleDoesNotHave) {
    answer(L"A", 1ms, "7E 00");
    EXPECT_EQ(whoAnswers({L"X", L"A"}), (std::vector<bool>{false, true}));
}

TEST_F(ConnectionTest, GetsNoAnswerFromAControlUnitThatItsGatewayDoesNotReach) {
    vehicle->scripts[L"A"].onSend = [] { throw MessageRefused(6, L"unreachable"); };
    answer(L"B", 1ms, "7E 00");
    EXPECT_EQ(whoAnswers({L"A", L"B"}), (std::vector<bool>{false, true}));
}

TEST_F(ConnectionTest, AsksEachForItselfWhereTheFunctionalRequestIsRefused) {
    vehicle->scripts[L""].onSend = [] { throw MessageRefused(6, L"unreachable"); };
    answer(L"A", 1ms, "7E 00");
    EXPECT_EQ(whoOfAllAnswers({L"A", L"B"}), (std::vector<bool>{true, false}));
}

TEST_F(ConnectionTest, LosesAllAnswersWithTheConnection) {
    vehicle->scripts[L"A"].onSend = [] { throw ConnectionLost(L"gone"); };
    answer(L"B", 1ms, "7E 00");
    EXPECT_THROW(whoAnswers({L"B", L"A"}), ConnectionLost);
}

TEST_F(ConnectionTest, LosesAllAnswersAlsoWithAConnectionThatIsLostWhileALinkIsOpened) {
    vehicle->onOpen = [] { throw ConnectionLost(L"gone"); };
    EXPECT_THROW(whoAnswers({L"A"}), ConnectionLost);
}

TEST_F(ConnectionTest, AsksAControlUnitInUseLastAndKeepsNobodyFromTheOthers) {
    VehicleLink used = connection.openLink({L"A"});
    const VehicleLink other = connection.openLink({L"B"});
    auto turn = used.channel().takeTurn({});
    answer(L"B", 500ms, "7E 00");
    answer(L"A", 1ms, "7E 00");
    bool isFree = false;
    clock.callAfter(500ms, [&] {
        isFree = vehicle->scripts[L"A"].requests.empty();
        turn.reset();
    });
    EXPECT_EQ(whoAnswers({L"A", L"B"}), (std::vector<bool>{true, true}));
    EXPECT_TRUE(isFree);
}

TEST_F(ConnectionTest, TakesAControlUnitThatIsAtWorkForOneThatAnswers) {
    VehicleLink used = connection.openLink({L"A"});
    vehicle->scripts[L"A"].answerNext({{0ms, hex("7F 31 78")}, {60s, hex("71 01 02 03")}});
    std::stop_source stopped;
    clock.callAfter(1ms, [&] { stopped.request_stop(); });
    EXPECT_THROW(used.channel().exchange(hex("31 01 02 03"), stopped.get_token()), Cancelled);
    EXPECT_EQ(whoAnswers({L"A"}), std::vector<bool>{true});
    EXPECT_LT(clock.now() - begin, 1s);
}

TEST_F(ConnectionTest, AsksAllOfAFunctionalAddressByOneRequest) {
    answerToAll({{10ms, hex("7E 00"), 2}, {20ms, hex("7F 3E 21"), 1}});
    EXPECT_EQ(whoOfAllAnswers({L"A", L"B"}), (std::vector<bool>{true, true}));
    EXPECT_EQ(clock.now() - begin, 20ms);
    EXPECT_EQ(vehicle->scripts[L""].requests.size(), 1U);
    EXPECT_TRUE(vehicle->scripts[L"A"].requests.empty());
}

TEST_F(ConnectionTest, AsksThoseAgainThatHaveNotAnsweredTheFunctionalRequest) {
    answerToAll({{10ms, hex("7E 00"), 2}, {20ms, hex("62 F1 90"), 3}, {30ms, hex("7E 00"), 9}});
    answer(L"A", 5ms, "7E 00");
    EXPECT_EQ(whoOfAllAnswers({L"A", L"B", L"C"}), (std::vector<bool>{true, true, false}));
    EXPECT_EQ(clock.now() - begin, 2000ms);
    EXPECT_EQ(vehicle->scripts[L"A"].requests.size(), 1U);
    EXPECT_TRUE(vehicle->scripts[L"B"].requests.empty());
}

TEST_F(ConnectionTest, LetsOthersInAfterAFunctionalRequest) {
    answerToAll({{10ms, hex("7E 00"), 1}});
    EXPECT_EQ(whoOfAllAnswers({L"A"}), std::vector<bool>{true});
    answer(L"A", 1ms, "62 F1 90 41");
    const VehicleLink link = connection.openLink({L"A"});
    EXPECT_EQ(hex(link.channel().exchange(hex("22 F1 90"), {})), "62 F1 90 41");
}

TEST_F(ConnectionTest, LetsOthersInAfterAQuestionThatFailed) {
    vehicle->scripts[L"B"].onSend = [] { throw ConnectionLost(L"cut"); };
    EXPECT_THROW(whoAnswers({L"A", L"B"}), ConnectionLost);
    vehicle->scripts[L"A"].answerNext({{1ms, hex("62 F1 90 41")}});
    const VehicleLink link = connection.openLink({L"A"});
    EXPECT_EQ(hex(link.channel().exchange(hex("22 F1 90"), {})), "62 F1 90 41");
}

TEST_F(ConnectionTest, ACancelEndsAQuestion) {
    clock.callAfter(200ms, [&] { cancel.request_stop(); });
    EXPECT_THROW(whoAnswers({L"A"}), Cancelled);
    EXPECT_EQ(clock.now() - begin, 200ms);
}

TEST_F(ConnectionTest, KeepsSoManyAnswersOfAllAndNoMore) {
    vehicle->scripts[L""].answerNext({5000, {1ms, hex("7E 00")}});
    EXPECT_EQ(connection.requestFromAll(0xE400, hex("3E 00"), {}).size(), 4096U);
}

TEST_F(ConnectionTest, CollectsTheAnswersOfAllUntilP2HasPassed) {
    vehicle->scripts[L""].answerNext(
        {{1ms, hex("7E 00")}, {1000ms, hex("7E 00")}, {1001ms, hex("7E 00")}});
    EXPECT_EQ(connection.requestFromAll(0xE400, hex("3E 00"), {}).size(), 2U);
    EXPECT_EQ(clock.now() - begin, 1000ms);
    ASSERT_EQ(events.size(), 3U);
    EXPECT_EQ(events[0].kind, BusEvent::Kind::Request);
    EXPECT_EQ(events[0].unit.functional, 0xE400);
    EXPECT_EQ(events[0].unit.tester, 0x0E81);
    EXPECT_EQ(events[1].unit.tester, 0x0E81);
    EXPECT_EQ(events[1].kind, BusEvent::Kind::Response);
}

TEST_F(ConnectionTest, TellsWhichControlUnitHasAnsweredAFunctionalRequest) {
    answerToAll({{1ms, hex("7E 00"), 0x1A}});
    EXPECT_EQ(connection.requestFromAll(0xE400, hex("3E 00"), {}).at(0).source, 0x1A);
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0].unit.physical, std::nullopt);
    EXPECT_EQ(events[1].unit.physical, 0x1A);
}

TEST_F(ConnectionTest, KeepsTheSessionsThatAreHeld) {
    EXPECT_FALSE(connection.holdsSessions());
    const VehicleLink held = heldInSession(L"A");
    const VehicleLink other = connection.openLink({L"B"});
    EXPECT_TRUE(connection.holdsSessions());
    EXPECT_EQ(connection.keepSessions(), L"");
    EXPECT_EQ(hex(vehicle->scripts[L"A"].requests.back()), "3E 80");
    EXPECT_TRUE(vehicle->scripts[L"B"].requests.empty());
}

TEST_F(ConnectionTest, KeepsTheOtherSessionsWhereOneCannotBeKept) {
    const VehicleLink first = heldInSession(L"A");
    const VehicleLink second = heldInSession(L"B");
    vehicle->scripts[L"A"].onSend = [] { throw MessageRefused(3, L"refused"); };
    EXPECT_EQ(connection.keepSessions(), L"refused");
    EXPECT_EQ(hex(vehicle->scripts[L"B"].requests.back()), "3E 80");
}

TEST_F(ConnectionTest, TellsTheFirstOfTheFailuresToKeepSessions) {
    const VehicleLink first = heldInSession(L"A");
    const VehicleLink second = heldInSession(L"B");
    vehicle->scripts[L"A"].onSend = [] { throw MessageRefused(3, L"refused"); };
    vehicle->scripts[L"B"].onSend = [] { throw MessageRefused(6, L"unreachable"); };
    EXPECT_EQ(connection.keepSessions(), L"refused");
}

TEST_F(ConnectionTest, ClosesItsInterfaceAtItsEnd) {
    {
        const Connection other(vehicle, clock, Timing{}, [](const BusEvent&) {});
    }
    EXPECT_EQ(vehicle->state(), VehicleInterface::State::Closed);
}

} // namespace
} // namespace Quarlen::Uds::Tests
