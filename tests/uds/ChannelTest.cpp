#include "uds/Channel.hpp"

#include <algorithm>

#include "tests/uds/ChannelFixture.hpp"
#include "uds/Client.hpp"

namespace Quarlen::Uds::Tests {
namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;

class ChannelTest : public ChannelFixture {};

TEST_F(ChannelTest, ReturnsTheResponseAsItCame) {
    script.answerNext({{3ms, hex("62 F1 90 41")}});
    EXPECT_EQ(exchange("22 F1 90"), "62 F1 90 41");
    EXPECT_EQ(elapsed(), 3ms);
}

TEST_F(ChannelTest, DoesNotSleepForAResponseThatIsThere) {
    answerNext("7E 00");
    exchange("3E 00");
    EXPECT_TRUE(clock.sleeps().empty());
}

TEST_F(ChannelTest, ReturnsANegativeResponse) {
    answerNext("7F 22 31");
    EXPECT_EQ(exchange("22 12 34"), "7F 22 31");
}

TEST_F(ChannelTest, GivesUpAfterP2WithoutAResponse) {
    try {
        exchange("22 F1 90");
        FAIL() << "no exception";
    } catch (const NoUsableResponse& error) {
        EXPECT_EQ(error.message(), L"no response to ReadDataByIdentifier (0x22) within 1000 ms");
    }
    EXPECT_EQ(elapsed(), 1000ms);
    EXPECT_EQ(script.requests.size(), 1U);
}

TEST_F(ChannelTest, TakesSilenceForAnAnswerWhereTheCallerSaysSo) {
    const ExchangeManner quiet{Silence::IsAnAnswer};
    EXPECT_TRUE(link.channel().exchange(hex("22 F1 90"), {}, quiet).empty());
    EXPECT_EQ(elapsed(), 1000ms);
    script.answerNext({{0ms, hex("7F 22 78")}});
    EXPECT_THROW(link.channel().exchange(hex("22 F1 90"), {}, quiet), NoUsableResponse);
}

TEST_F(ChannelTest, AsksAgainWhereARefusalMayBelongToTheRequestBefore) {
    EXPECT_THROW(exchange("22 F1 90"), NoUsableResponse);
    script.answerNext({{10ms, hex("7F 22 31")}});
    script.answerNext({{10ms, hex("62 F1 95 41")}});
    EXPECT_EQ(exchange("22 F1 95"), "62 F1 95 41");
    EXPECT_EQ(script.requests,
              (std::vector<Bytes>{hex("22 F1 90"), hex("22 F1 95"), hex("22 F1 95")}));
}

TEST_F(ChannelTest, BelievesARefusalThatComesTwice) {
    EXPECT_THROW(exchange("22 F1 90"), NoUsableResponse);
    answerNext("7F 22 31");
    answerNext("7F 22 31");
    EXPECT_EQ(exchange("22 F1 95"), "7F 22 31");
    answerNext("7F 22 31");
    EXPECT_EQ(exchange("22 F1 96"), "7F 22 31");
    EXPECT_EQ(script.requests.size(), 4U);
}

TEST_F(ChannelTest, BelievesARefusalOfAnotherServiceOrALaterOne) {
    EXPECT_THROW(exchange("22 F1 90"), NoUsableResponse);
    answerNext("7F 19 12");
    EXPECT_EQ(exchange("19 02 FF"), "7F 19 12");
    clock.advance(Timing{}.p2Star);
    answerNext("7F 22 31");
    EXPECT_EQ(exchange("22 F1 95"), "7F 22 31");
    EXPECT_EQ(script.requests.size(), 3U);
}

TEST_F(ChannelTest, DoubtsARefusalUntilP2StarHasPassed) {
    EXPECT_THROW(exchange("22 F1 90"), NoUsableResponse);
    clock.advance(Timing{}.p2Star - 1ms);
    answerNext("7F 22 31");
    answerNext("62 F1 95 41");
    EXPECT_EQ(exchange("22 F1 95"), "62 F1 95 41");
}

TEST_F(ChannelTest, DoesNotRepeatWhatDoesMoreThanRead) {
    EXPECT_THROW(exchange("2E F1 5A 01"), NoUsableResponse);
    answerNext("7F 2E 31");
    EXPECT_EQ(exchange("2E F1 5B 01"), "7F 2E 31");
    EXPECT_EQ(script.requests.size(), 2U);
}

TEST_F(ChannelTest, IsIdleWhenNobodyHasAnExchangeAndTheLastOneIsOver) {
    EXPECT_TRUE(link.channel().turnIfIdle());
    const auto turn = link.channel().takeTurn({});
    EXPECT_FALSE(link.channel().turnIfIdle());
}

TEST_F(ChannelTest, GivesNoTurnToOneThatIsCancelledWhileAnotherHasIt) {
    const auto turn = link.channel().takeTurn({});
    cancel.request_stop();
    EXPECT_THROW(static_cast<void>(link.channel().takeTurn(cancel.get_token())), Cancelled);
}

TEST_F(ChannelTest, GivesASendNoLongerThanP2) {
    answerNext("7E 00");
    exchange("3E 00");
    EXPECT_EQ(script.sendDeadline - begin, Timing{}.p2);
}

TEST_F(ChannelTest, IsNotIdleWhileTheControlUnitIsAtWork) {
    script.answerNext({{0ms, hex("7F 31 78")}, {3000ms, hex("71 01 02 03")}});
    clock.callAfter(100ms, [&] { cancel.request_stop(); });
    EXPECT_THROW(exchange("31 01 02 03"), Cancelled);
    EXPECT_FALSE(link.channel().turnIfIdle());
    auto question = link.channel().ask(link.channel().takeTurn({}), hex("3E 00"), {});
    EXPECT_TRUE(question.isAnswered({}));
    EXPECT_EQ(script.requests.size(), 1U);
    clock.advance(3000ms);
    EXPECT_TRUE(link.channel().turnIfIdle());
}

TEST_F(ChannelTest, IsNotIdleAfterAQuestionThatIsAnsweredByResponsePending) {
    script.answerNext({{1ms, hex("7F 3E 78")}, {3000ms, hex("7E 00")}});
    auto question = link.channel().ask(link.channel().takeTurn({}), hex("3E 00"), {});
    EXPECT_TRUE(question.isAnswered({}));
    EXPECT_FALSE(link.channel().turnIfIdle());
    clock.advance(3000ms);
    EXPECT_TRUE(link.channel().turnIfIdle());
}

TEST_F(ChannelTest, IsAskedWhereACancelledRequestHasHadNoResponse) {
    clock.callAfter(100ms, [&] { cancel.request_stop(); });
    EXPECT_THROW(exchange("22 F1 90"), Cancelled);
    auto question = link.channel().ask(link.channel().takeTurn({}), hex("3E 00"), {});
    EXPECT_FALSE(question.isAnswered({}));
    EXPECT_EQ(lastRequest(), "3E 00");
}

TEST_F(ChannelTest, TellsEachResponsePendingAndNothingElse) {
    int pending = 0;
    const ExchangeManner counting{Silence::IsJudged, [&] { ++pending; }};
    script.answerNext({{100ms, hex("7F 22 78")},
                       {200ms, hex("7F 31 78")},
                       {300ms, hex("71 01 02 03")},
                       {400ms, hex("7F 31 78")}});
    EXPECT_EQ(link.channel().exchange(hex("31 01 02 03"), {}, counting).size(), 4U);
    EXPECT_EQ(pending, 1);
}

TEST_F(ChannelTest, WaitsForTheResponseOfAnExchangeWhoseListenerHasEndedIt) {
    const ExchangeManner ending{Silence::IsJudged, [] { throw Cancelled(); }};
    script.answerNext({{100ms, hex("7F 31 78")}, {3000ms, hex("71 01 02 03")}});
    EXPECT_THROW(link.channel().exchange(hex("31 01 02 03"), {}, ending), Cancelled);
    script.answerNext({{100ms, hex("62 F1 90 41")}});
    EXPECT_EQ(exchange("22 F1 90"), "62 F1 90 41");
    EXPECT_EQ(elapsed(), 3100ms);
}

TEST_F(ChannelTest, TakesAResponseThatComesAtTheEndOfP2) {
    script.answerNext({{1000ms, hex("62 F1 90 41")}});
    EXPECT_EQ(exchange("22 F1 90"), "62 F1 90 41");
}

TEST_F(ChannelTest, WaitsP2StarAfterResponsePending) {
    script.answerNext({{900ms, hex("7F 31 78")}, {5800ms, hex("71 01 02 03")}});
    EXPECT_EQ(exchange("31 01 02 03"), "71 01 02 03");
    EXPECT_EQ(elapsed(), 5800ms);
}

TEST_F(ChannelTest, GivesUpAfterP2StarWithoutAFurtherResponse) {
    script.answerNext({{100ms, hex("7F 31 78")}, {5200ms, hex("71 01 02 03")}});
    try {
        exchange("31 01 02 03");
        FAIL() << "no exception";
    } catch (const NoUsableResponse& error) {
        EXPECT_EQ(error.message(), L"no response to RoutineControl (0x31) within 5000 ms");
    }
    EXPECT_EQ(elapsed(), 5100ms);
}

std::vector<Quarlen::Tests::EndpointScript::Response> pendings(int count) {
    std::vector<Quarlen::Tests::EndpointScript::Response> responses;
    for (int number = 1; number <= count; ++number) {
        responses.push_back({(number - 1) * 4000ms, hex("7F 31 78")});
    }
    return responses;
}

TEST_F(ChannelTest, WaitsForAControlUnitThatWorksForMinutes) {
    auto responses = pendings(100);
    responses.push_back({400'000ms, hex("71 01 02 03")});
    script.answerNext(std::move(responses));
    EXPECT_EQ(exchange("31 01 02 03"), "71 01 02 03");
    EXPECT_EQ(elapsed(), 400'000ms);
}

TEST_F(ChannelTest, EndsAnEndlessResponsePendingAfterTenMinutes) {
    script.answerNext(pendings(1000));
    try {
        exchange("31 01 02 03");
        FAIL() << "no exception";
    } catch (const NoUsableResponse& error) {
        EXPECT_EQ(error.message(), L"no response to RoutineControl (0x31) within 600000 ms");
    }
    EXPECT_EQ(elapsed(), 600'000ms);
}

TEST_F(ChannelTest, AsksABusyControlUnitAgain) {
    answerNext("7F 22 21");
    answerNext("7F 22 21");
    answerNext("62 F1 90 41");
    EXPECT_EQ(exchange("22 F1 90"), "62 F1 90 41");
    EXPECT_EQ(clock.sleeps(), (std::vector<std::chrono::milliseconds>{50ms, 50ms}));
    EXPECT_EQ(script.requests, std::vector<Bytes>(3, hex("22 F1 90")));
}

TEST_F(ChannelTest, TakesBusyForAnAnswerOnceItsTimeIsOver) {
    for (int count = 0; count < 1000; ++count) {
        answerNext("7F 22 21");
    }
    EXPECT_EQ(exchange("22 F1 90"), "7F 22 21");
    EXPECT_EQ(elapsed(), 5000ms);
    EXPECT_EQ(script.requests.size(), 101U);
}

TEST_F(ChannelTest, ACancelEndsThePauseBeforeABusyControlUnitIsAskedAgain) {
    answerNext("7F 22 21");
    clock.callAfter(20ms, [&] { cancel.request_stop(); });
    EXPECT_THROW(exchange("22 F1 90"), Cancelled);
    EXPECT_EQ(elapsed(), 20ms);
    EXPECT_EQ(script.requests.size(), 1U);
}

class ChannelForeignResponse : public ChannelFixture,
                               public testing::WithParamInterface<const char*> {};

TEST_P(ChannelForeignResponse, IsDropped) {
    script.answerNext({{1ms, hex(GetParam())}, {2ms, hex("62 F1 90 41")}});
    EXPECT_EQ(exchange("22 F1 90"), "62 F1 90 41");
}

INSTANTIATE_TEST_SUITE_P(Responses, ChannelForeignResponse,
                         testing::Values("7E 00", "7F 3E 12", "7F 22", "", "22 F1 90",
                                         "62 F1 95 41", "62 F1", "62"));

TEST_F(ChannelTest, NamesAResponseThatDoesNotFitWhenNoOtherComes) {
    script.answerNext({{1ms, hex("50 01 00 32 01 F4")}});
    try {
        exchange("10 02");
        FAIL() << "no exception";
    } catch (const NoUsableResponse& error) {
        EXPECT_EQ(error.message(),
                  L"unusable response to DiagnosticSessionControl (0x10): 50 01 00 32 01 F4");
    }
    EXPECT_EQ(elapsed(), 1000ms);
}

TEST_F(ChannelTest, ShowsTheBeginningOfALongResponseThatDoesNotFit) {
    answerNext("62 F1 95 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E");
    try {
        exchange("22 F1 90");
        FAIL() << "no exception";
    } catch (const NoUsableResponse& error) {
        EXPECT_EQ(error.message(), L"unusable response to ReadDataByIdentifier (0x22): "
                                   L"62 F1 95 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D ...");
    }
}

TEST_F(ChannelTest, DoesNotTakeTheLateResponseOfAnEarlierRequest) {
    script.answerNext({{1500ms, hex("62 F1 90 41")}});
    EXPECT_THROW(exchange("22 F1 90"), NoUsableResponse);
    clock.advance(1000ms);
    script.answerNext({{1ms, hex("62 F1 90 42")}});
    EXPECT_EQ(exchange("22 F1 90"), "62 F1 90 42");
}

TEST_F(ChannelTest, WaitsForTheResponseToACancelledRequestBeforeTheNext) {
    script.answerNext({{300ms, hex("62 F1 90 41")}});
    clock.callAfter(100ms, [&] { cancel.request_stop(); });
    EXPECT_THROW(exchange("22 F1 90"), Cancelled);
    cancel = {};
    script.answerNext({{1ms, hex("62 F1 90 42")}});
    EXPECT_EQ(exchange("22 F1 90"), "62 F1 90 42");
    EXPECT_EQ(elapsed(), 301ms);
}

TEST_F(ChannelTest, SendsItsRequestAlsoWhereTheCancelledOneBeforeWasRefusedByAGateway) {
    clock.callAfter(100ms, [&] { cancel.request_stop(); });
    EXPECT_THROW(exchange("22 F1 90"), Cancelled);
    cancel = {};
    script.onReceive = [this] {
        script.onReceive = nullptr;
        throw MessageRefused(6, L"unreachable");
    };
    answerNext("7E 00");
    EXPECT_EQ(exchange("3E 00"), "7E 00");
}

TEST_F(ChannelTest, DropsWhatHasComeBehindARefusalOfAGateway) {
    script.answerNext({{0ms, hex("62 F1 90 41")}, {0ms, hex("62 F1 90 42")}});
    exchange("22 F1 90");
    script.onReceive = [this] {
        script.onReceive = nullptr;
        throw MessageRefused(6, L"unreachable");
    };
    answerNext("62 F1 90 43");
    EXPECT_EQ(exchange("22 F1 90"), "62 F1 90 43");
}

TEST_F(ChannelTest, SendsItsRequestAlsoToAControlUnitThatFloods) {
    std::vector<Quarlen::Tests::EndpointScript::Response> flood(
        5001, {0ms, hex("62 F1 90 41"), std::uint16_t{0}});
    script.answerNext(std::move(flood));
    exchange("22 F1 90");
    answerNext("7E 00");
    EXPECT_EQ(exchange("3E 00"), "7E 00");
    const auto second = std::find_if(events.begin() + 1, events.end(), [](const auto& event) {
        return event.kind == BusEvent::Kind::Request;
    });
    EXPECT_LT(second - events.begin(), 4200);
}

TEST_F(ChannelTest, WaitsNoLongerThanP2ForTheResponseToACancelledRequest) {
    clock.callAfter(100ms, [&] { cancel.request_stop(); });
    EXPECT_THROW(exchange("22 F1 90"), Cancelled);
    cancel = {};
    answerNext("7E 00");
    exchange("3E 00");
    EXPECT_EQ(elapsed(), 1000ms);
}

TEST_F(ChannelTest, LetsAControlUnitEndWhatACancelledRequestHasBegun) {
    script.answerNext(
        {{100ms, hex("7F 31 78")}, {4000ms, hex("7F 31 78")}, {8000ms, hex("71 01 02 03")}});
    clock.callAfter(200ms, [&] { cancel.request_stop(); });
    EXPECT_THROW(exchange("31 01 02 03"), Cancelled);
    EXPECT_EQ(elapsed(), 200ms);
    cancel = {};
    answerNext("7E 00");
    exchange("3E 00");
    EXPECT_EQ(elapsed(), 8000ms);
}

TEST_F(ChannelTest, WaitsNoLongerThanTenMinutesForTheEndOfACancelledRequest) {
    std::vector<Quarlen::Tests::EndpointScript::Response> responses;
    for (int number = 0; number <= 150; ++number) {
        responses.push_back({1000ms + number * 4000ms, hex("7F 31 78")});
    }
    responses.front().delay = 0ms;
    script.answerNext(std::move(responses));
    clock.callAfter(100ms, [&] { cancel.request_stop(); });
    EXPECT_THROW(exchange("31 01 02 03"), Cancelled);
    cancel = {};
    std::chrono::milliseconds sent{0};
    script.onSend = [&] { sent = elapsed(); };
    answerNext("7E 00");
    EXPECT_EQ(exchange("3E 00"), "7E 00");
    EXPECT_EQ(sent, 600'000ms);
}

TEST_F(ChannelTest, TakesSilenceForAnAnswerWhenThePositiveResponseIsSuppressed) {
    EXPECT_EQ(exchange("3E 80"), "");
    EXPECT_EQ(elapsed(), 1000ms);
}

TEST_F(ChannelTest, StillHearsARefusalWhenThePositiveResponseIsSuppressed) {
    script.answerNext({{1ms, hex("7F 10 12")}});
    EXPECT_EQ(exchange("10 C0"), "7F 10 12");
}

TEST_F(ChannelTest, WaitsForTheResponseOnceTheControlUnitHasAskedForTime) {
    script.answerNext({{1ms, hex("7F 10 78")}});
    EXPECT_THROW(exchange("10 83"), NoUsableResponse);
}

TEST_F(ChannelTest, SendsNothingOnceCancelled) {
    cancel.request_stop();
    EXPECT_THROW(exchange("3E 00"), Cancelled);
    EXPECT_TRUE(script.requests.empty());
}

TEST_F(ChannelTest, EndsTheWaitAtACancel) {
    clock.callAfter(300ms, [&] { cancel.request_stop(); });
    EXPECT_THROW(exchange("22 F1 90"), Cancelled);
    EXPECT_EQ(elapsed(), 300ms);
}

TEST_F(ChannelTest, RefusesAnEmptyRequest) {
    EXPECT_THROW(exchange(""), LinkError);
    EXPECT_TRUE(script.requests.empty());
}

TEST_F(ChannelTest, TellsWhatGoesAndWhatComes) {
    script.answerNext({{1ms, hex("7F 22 78")}, {2ms, hex("62 F1 90 41")}});
    exchange("22 F1 90");
    EXPECT_THROW(exchange("3E 00"), NoUsableResponse);
    std::vector<std::pair<BusEvent::Kind, std::string>> told;
    for (const auto& event : events) {
        EXPECT_EQ(event.unit.link, L"LINK");
        told.emplace_back(event.kind, hex(event.bytes));
    }
    using Kind = BusEvent::Kind;
    EXPECT_EQ(told, (std::vector<std::pair<Kind, std::string>>{{Kind::Request, "22 F1 90"},
                                                               {Kind::Response, "7F 22 78"},
                                                               {Kind::Response, "62 F1 90 41"},
                                                               {Kind::Request, "3E 00"},
                                                               {Kind::Silence, "3E 00"}}));
}

TEST_F(ChannelTest, TellsARequestThatIsLost) {
    script.onSend = [] { throw ConnectionLost(L"cut"); };
    EXPECT_THROW(exchange("3E 00"), ConnectionLost);
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[1].kind, BusEvent::Kind::Lost);
    EXPECT_EQ(events[1].text, L"cut");
    EXPECT_EQ(hex(events[1].bytes), "3E 00");
}

} // namespace
} // namespace Quarlen::Uds::Tests
