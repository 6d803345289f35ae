#include <vector>

#include "tests/uds/ChannelFixture.hpp"
#include "uds/Channel.hpp"
#include "uds/Client.hpp"

namespace Quarlen::Uds::Tests {
namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;

/// What a channel knows of the session of its control unit.
class ChannelSession : public ChannelFixture {
protected:
    void enterExtended() {
        answerNext("50 03 00 32 01 F4");
        exchange("10 03");
    }
    void unlock() {
        answerNext("67 02");
        exchange("27 02 00");
    }
    std::string refusalOf(const char* request, const char* response) {
        answerNext(response);
        try {
            Client(link, cancel.get_token()).request(hex(request));
        } catch (const NegativeResponse& refusal) {
            const std::wstring text = refusal.message();
            return {text.begin(), text.end()};
        }
        return "no refusal";
    }
    [[nodiscard]] std::chrono::milliseconds timeOfSilence(const char* request) {
        const auto from = elapsed();
        EXPECT_THROW(exchange(request), NoUsableResponse);
        return elapsed() - from;
    }
    bool isKept() {
        const std::size_t before = script.requests.size();
        link.channel().keepSession();
        return script.requests.size() > before && lastRequest() == "3E 80";
    }
};

TEST_F(ChannelSession, HasTheTimesThatTheControlUnitTells) {
    answerNext("50 03 00 C8 00 64");
    exchange("10 03");
    EXPECT_EQ(timeOfSilence("22 F1 90"), 200ms + Timing{}.delta);
    script.answerNext({{0ms, hex("7F 22 78")}});
    EXPECT_EQ(timeOfSilence("22 F1 90"), 1000ms + Timing{}.delta);
}

TEST_F(ChannelSession, HasTheConfiguredTimesOnceItHasEnded) {
    for (const char* const end : {"10 01", "11 01"}) {
        enterExtended();
        ASSERT_NE(timeOfSilence("3E 00"), Timing{}.p2);
        answerNext(end[1] == '0' ? "50 01 00 32 01 F4" : "51 01");
        exchange(end);
        EXPECT_EQ(timeOfSilence("3E 00"), Timing{}.p2) << end;
    }
}

TEST_F(ChannelSession, HasTheConfiguredTimesOnceItHasRunOut) {
    enterExtended();
    clock.advance(Timing{}.session + 1ms);
    EXPECT_EQ(timeOfSilence("3E 00"), Timing{}.p2);
}

TEST_F(ChannelSession, HasTheConfiguredTimesWithoutTimesInTheResponse) {
    answerNext("50 03");
    exchange("10 03");
    EXPECT_EQ(timeOfSilence("3E 00"), Timing{}.p2);
}

TEST_F(ChannelSession, IsKeptWhileSomebodyHoldsIt) {
    enterExtended();
    EXPECT_FALSE(isKept());
    link.holdSession();
    VehicleLink other(link.sharedChannel());
    other.holdSession();
    EXPECT_TRUE(isKept());
    { const VehicleLink gone = std::move(other); }
    EXPECT_TRUE(isKept());
    EXPECT_EQ(events.back().kind, BusEvent::Kind::KeepAlive);
}

TEST_F(ChannelSession, IsNotKeptAfterTheLastOneHasLeft) {
    enterExtended();
    {
        VehicleLink holder(link.sharedChannel());
        holder.holdSession();
        holder.holdSession();
        EXPECT_TRUE(isKept());
    }
    EXPECT_FALSE(isKept());
}

TEST_F(ChannelSession, OfDefaultNeedsNoKeeping) {
    link.holdSession();
    EXPECT_FALSE(isKept());
    enterExtended();
    EXPECT_TRUE(isKept());
    answerNext("50 01");
    exchange("10 01");
    EXPECT_FALSE(isKept());
}

TEST_F(ChannelSession, IsNotKeptDuringAnExchange) {
    enterExtended();
    link.holdSession();
    std::size_t requests = 0;
    script.answerNext({{100ms, hex("7E 00")}});
    clock.callAfter(50ms, [&] {
        link.channel().keepSession();
        requests = script.requests.size();
    });
    exchange("3E 00");
    EXPECT_EQ(requests, 2U);
    EXPECT_TRUE(isKept());
}

TEST_F(ChannelSession, IsKeptOnceTheControlUnitHasEndedACancelledRequest) {
    enterExtended();
    link.holdSession();
    script.answerNext({{0ms, hex("7F 31 78")}, {800ms, hex("71 01 02 03")}});
    clock.callAfter(100ms, [&] { cancel.request_stop(); });
    EXPECT_THROW(exchange("31 01 02 03"), Cancelled);
    EXPECT_FALSE(isKept());
    clock.advance(700ms);
    EXPECT_TRUE(isKept());
}

TEST_F(ChannelSession, IsKeptOnceTheResponseToACancelledRequestIsOverdue) {
    enterExtended();
    link.holdSession();
    clock.callAfter(100ms, [&] { cancel.request_stop(); });
    EXPECT_THROW(exchange("31 01 02 03"), Cancelled);
    EXPECT_FALSE(isKept());
    clock.advance(1000ms);
    EXPECT_TRUE(isKept());
}

TEST_F(ChannelSession, IsLeftBeforeTheNextRequest) {
    enterExtended();
    link.channel().leaveSession();
    EXPECT_EQ(lastRequest(), "10 03");
    answerNext("50 01 00 32 01 F4");
    answerNext("7E 00");
    exchange("3E 00");
    EXPECT_EQ(script.requests, (std::vector<Bytes>{hex("10 03"), hex("10 01"), hex("3E 00")}));
    answerNext("7E 00");
    exchange("3E 00");
    EXPECT_EQ(script.requests.size(), 4U);
}

TEST_F(ChannelSession, IsLeftOnceWhatACancelledRequestHasBegunIsOver) {
    enterExtended();
    script.answerNext({{0ms, hex("7F 31 78")}, {3000ms, hex("71 01 FF 00")}});
    clock.callAfter(100ms, [&] { cancel.request_stop(); });
    EXPECT_THROW(exchange("31 01 FF 00"), Cancelled);
    link.channel().leaveSession();
    answerNext("50 01 00 32 01 F4");
    link.channel().settle({});
    EXPECT_EQ(elapsed(), 3000ms);
    EXPECT_EQ(lastRequest(), "10 01");
}

TEST_F(ChannelSession, IsThereAlsoWhenItsResponseWasSuppressed) {
    EXPECT_EQ(exchange("10 83"), "");
    link.holdSession();
    EXPECT_TRUE(isKept());
    link.channel().leaveSession();
    answerNext("50 01");
    link.channel().settle({});
    EXPECT_EQ(lastRequest(), "10 01");
    EXPECT_FALSE(isKept());
}

TEST_F(ChannelSession, MayBeThereWhenNobodyHasAnsweredTheRequestForIt) {
    EXPECT_THROW(exchange("10 02"), NoUsableResponse);
    link.channel().leaveSession();
    answerNext("50 01");
    link.channel().settle({});
    EXPECT_EQ(lastRequest(), "10 01");
}

TEST_F(ChannelSession, IsThereWhenTheRequestWasCancelledBeforeItsSilenceWasAnAnswer) {
    clock.callAfter(100ms, [&] { cancel.request_stop(); });
    EXPECT_THROW(exchange("10 82"), Cancelled);
    link.channel().leaveSession();
    answerNext("50 01");
    link.channel().settle({});
    EXPECT_EQ(lastRequest(), "10 01");
}

TEST_F(ChannelSession, ThatWasNotLeftIsLeftBeforeTheRequestAfterTheNext) {
    enterExtended();
    link.channel().leaveSession();
    std::stop_source stopped;
    stopped.request_stop();
    EXPECT_THROW(link.channel().settle(stopped.get_token()), Cancelled);
    answerNext("7F 10 22");
    EXPECT_THROW(link.channel().settle({}), NoUsableResponse);
    answerNext("50 01");
    link.channel().settle({});
    EXPECT_EQ(script.requests, (std::vector<Bytes>{hex("10 03"), hex("10 01"), hex("10 01")}));
}

TEST_F(ChannelSession, IsNotKeptOnceItIsToBeLeft) {
    enterExtended();
    link.holdSession();
    link.channel().leaveSession();
    EXPECT_FALSE(isKept());
}

TEST_F(ChannelSession, ThatIsEnteredAfterTheWishToLeaveTheFormerOneStays) {
    enterExtended();
    link.channel().leaveSession();
    answerNext("7F 10 22");
    answerNext("50 03 00 32 01 F4");
    exchange("10 03");
    answerNext("7E 00");
    exchange("3E 00");
    EXPECT_EQ(script.requests,
              (std::vector<Bytes>{hex("10 03"), hex("10 01"), hex("10 03"), hex("3E 00")}));
}

TEST_F(ChannelSession, ThatHasRunOutIsNotKeptAliveAndItsUnlockIsTold) {
    enterExtended();
    unlock();
    link.holdSession();
    clock.advance(Timing{}.session + 1ms);
    EXPECT_FALSE(isKept());
    EXPECT_EQ(events.back().kind, BusEvent::Kind::Locked);
    EXPECT_EQ(link.channel().reasonOfLock(), L"its session ran out");
}

TEST_F(ChannelSession, IsKeptUntilItsWholeTimeIsOver) {
    enterExtended();
    link.holdSession();
    clock.advance(Timing{}.session);
    EXPECT_TRUE(isKept());
}

TEST_F(ChannelSession, IsKeptByTheResponsesOfALongExchange) {
    enterExtended();
    link.holdSession();
    script.answerNext(
        {{0ms, hex("7F 31 78")}, {4000ms, hex("7F 31 78")}, {8000ms, hex("71 01 02 03")}});
    exchange("31 01 02 03");
    clock.advance(Timing{}.session);
    EXPECT_TRUE(isKept());
}

TEST_F(ChannelSession, DropsWhatHasComeMeanwhileBeforeItIsKept) {
    script.answerNext({{0ms, hex("50 03")}, {100ms, hex("62 F1 90 41")}});
    exchange("10 03");
    link.holdSession();
    clock.advance(200ms);
    EXPECT_TRUE(isKept());
    ASSERT_EQ(events.size(), 4U);
    EXPECT_EQ(hex(events[2].bytes), "62 F1 90 41");
}

TEST_F(ChannelSession, OfDefaultThatIsEnteredWithoutAResponseNeedsNoKeeping) {
    enterExtended();
    link.holdSession();
    EXPECT_EQ(exchange("10 81"), "");
    EXPECT_FALSE(isKept());
}

TEST_F(ChannelSession, IsNotKeptByASendThatFails) {
    enterExtended();
    link.holdSession();
    clock.advance(3000ms);
    script.onSend = [] { throw MessageRefused(6, L"unreachable"); };
    EXPECT_THROW(link.channel().keepSession(), MessageRefused);
    script.onSend = {};
    clock.advance(2001ms);
    EXPECT_FALSE(isKept());
}

TEST_F(ChannelSession, OfDefaultIsNotLeft) {
    link.channel().leaveSession();
    link.channel().settle({});
    EXPECT_TRUE(script.requests.empty());
}

TEST_F(ChannelSession, EndsAnUnlockWhereverItChanges) {
    const std::vector<std::tuple<const char*, const char*, const char*>> ends{
        {"10 03", "50 03 00 32 01 F4", "another session was entered"},
        {"11 01", "51 01", "it was reset"}};
    for (const auto& [request, response, reason] : ends) {
        enterExtended();
        unlock();
        EXPECT_EQ(link.channel().reasonOfLock(), L"");
        answerNext(response);
        exchange(request);
        EXPECT_EQ(events.back().kind, BusEvent::Kind::Locked);
        EXPECT_EQ(
            refusalOf("2E F1 5A 01", "7F 2E 33"),
            std::string("WriteDataByIdentifier (0x2E) refused: security access denied (0x33); "
                        "the control unit was unlocked before ") +
                reason);
    }
}

TEST_F(ChannelSession, EndsAnUnlockWhenItRunsOut) {
    enterExtended();
    unlock();
    clock.advance(Timing{}.session + 1ms);
    EXPECT_THAT(refusalOf("2E F1 5A 01", "7F 2E 7F"),
                testing::EndsWith("; the control unit was unlocked before its session ran out"));
}

TEST_F(ChannelSession, EndsAnUnlockAlsoByAResetThatWantsNoResponseAndWasCancelled) {
    enterExtended();
    unlock();
    clock.callAfter(100ms, [&] { cancel.request_stop(); });
    EXPECT_THROW(exchange("11 81"), Cancelled);
    cancel = {};
    clock.advance(1000ms);
    answerNext("7E 00");
    exchange("3E 00");
    EXPECT_EQ(link.channel().reasonOfLock(), L"it was reset");
}

TEST_F(ChannelSession, StaysUnlockedWhereTheSeedOfAnotherLevelIsAskedFor) {
    enterExtended();
    unlock();
    answerNext("67 03 12 34");
    exchange("27 03");
    answerNext("51 01");
    exchange("11 01");
    EXPECT_EQ(link.channel().reasonOfLock(), L"it was reset");
}

TEST_F(ChannelSession, SaysNothingOfALockWhereNoneWasOpen) {
    enterExtended();
    enterExtended();
    EXPECT_EQ(refusalOf("2E F1 5A 01", "7F 2E 33"),
              "WriteDataByIdentifier (0x2E) refused: security access denied (0x33)");
}

TEST_F(ChannelSession, SaysNothingOfALockInAnotherRefusal) {
    enterExtended();
    unlock();
    enterExtended();
    EXPECT_EQ(refusalOf("2E F1 5A 01", "7F 2E 31"),
              "WriteDataByIdentifier (0x2E) refused: request out of range (0x31)");
}

TEST_F(ChannelSession, ForgetsTheReasonOfALockOnceItIsUnlockedAgain) {
    enterExtended();
    unlock();
    enterExtended();
    EXPECT_NE(link.channel().reasonOfLock(), L"");
    answerNext("67 01 00 00");
    exchange("27 01");
    EXPECT_EQ(link.channel().reasonOfLock(), L"");
}

} // namespace
} // namespace Quarlen::Uds::Tests
