#include "uds/Client.hpp"

#include <algorithm>

#include <gtest/gtest.h>

#include "tests/support/FakeClock.hpp"
#include "tests/support/HexBytes.hpp"
#include "tests/support/ScriptedLink.hpp"
#include "uds/Identifiers.hpp"

namespace Quarlen::Uds::Tests {
namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;

class UdsClientTest : public testing::Test {
protected:
    std::chrono::milliseconds elapsed() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(clock.now() - begin);
    }

    Quarlen::Tests::FakeClock clock;
    Platform::Clock::TimePoint begin = clock.now();
    Quarlen::Tests::ScriptedLink link{clock};
    std::stop_source cancel;
    Client client{link, cancel.get_token(), clock};
};

TEST_F(UdsClientTest, ReturnsTheResponseAsItCame) {
    link.answerNext({{3ms, hex("62 F1 90 41")}});
    EXPECT_EQ(hex(client.exchange(hex("22 F1 90"))), "62 F1 90 41");
    EXPECT_EQ(elapsed(), 3ms);
}

TEST_F(UdsClientTest, DoesNotSleepForAResponseThatIsThere) {
    link.answerNext({{0ms, hex("7E 00")}});
    client.exchange(hex("3E 00"));
    EXPECT_TRUE(clock.sleeps().empty());
}

TEST_F(UdsClientTest, ReturnsANegativeResponseFromExchange) {
    link.answerNext({{0ms, hex("7F 22 31")}});
    EXPECT_EQ(hex(client.exchange(hex("22 12 34"))), "7F 22 31");
}

TEST_F(UdsClientTest, ThrowsANegativeResponseFromRequest) {
    link.answerNext({{0ms, hex("7F 22 31")}});
    try {
        client.request(hex("22 12 34"));
        FAIL() << "no exception";
    } catch (const NegativeResponse& error) {
        EXPECT_EQ(error.service(), 0x22);
        EXPECT_EQ(error.nrc(), 0x31);
        EXPECT_EQ(error.message(),
                  L"ReadDataByIdentifier (0x22) refused: requestOutOfRange (0x31)");
    }
}

TEST_F(UdsClientTest, GivesUpAfterP2WithoutAResponse) {
    try {
        client.exchange(hex("22 F1 90"));
        FAIL() << "no exception";
    } catch (const NoUsableResponse& error) {
        EXPECT_EQ(error.message(), L"no response to ReadDataByIdentifier (0x22) within 1000 ms");
    }
    EXPECT_EQ(elapsed(), 1000ms);
}

TEST_F(UdsClientTest, WaitsP2StarAfterResponsePending) {
    link.answerNext({{900ms, hex("7F 31 78")}, {5800ms, hex("71 01 02 03")}});
    EXPECT_EQ(hex(client.exchange(hex("31 01 02 03"))), "71 01 02 03");
    EXPECT_EQ(elapsed(), 5800ms);
}

TEST_F(UdsClientTest, GivesUpAfterP2StarWithoutAFurtherResponse) {
    link.answerNext({{100ms, hex("7F 31 78")}, {5200ms, hex("71 01 02 03")}});
    EXPECT_THROW(client.exchange(hex("31 01 02 03")), LinkError);
    EXPECT_EQ(elapsed(), 5100ms);
}

TEST_F(UdsClientTest, EndsAnEndlessResponsePendingAfterAMinute) {
    std::vector<Quarlen::Tests::ScriptedLink::Response> pendings;
    for (int count = 1; count < 100; ++count) {
        pendings.push_back({count * 1000ms, hex("7F 31 78")});
    }
    link.answerNext(std::move(pendings));
    EXPECT_THROW(client.exchange(hex("31 01 02 03")), LinkError);
    EXPECT_EQ(elapsed(), 60000ms);
}

TEST_F(UdsClientTest, AsksABusyControlUnitAgain) {
    link.answerNext({{0ms, hex("7F 22 21")}});
    link.answerNext({{0ms, hex("7F 22 21")}});
    link.answerNext({{0ms, hex("62 F1 90 41")}});
    EXPECT_EQ(hex(client.exchange(hex("22 F1 90"))), "62 F1 90 41");
    EXPECT_EQ(clock.sleeps(), (std::vector<std::chrono::milliseconds>{20ms, 20ms}));
}

TEST_F(UdsClientTest, TakesBusyForAnAnswerAfterThreeRepeats) {
    for (int count = 0; count < 5; ++count) {
        link.answerNext({{0ms, hex("7F 22 21")}});
    }
    EXPECT_EQ(hex(client.exchange(hex("22 F1 90"))), "7F 22 21");
    EXPECT_EQ(link.requests().size(), 4U);
}

struct Foreign {
    const char* response;
};

class UdsClientForeignResponse : public UdsClientTest,
                                 public testing::WithParamInterface<Foreign> {};

TEST_P(UdsClientForeignResponse, IsDropped) {
    link.answerNext({{1ms, hex(GetParam().response)}, {2ms, hex("62 F1 90 41")}});
    EXPECT_EQ(hex(client.exchange(hex("22 F1 90"))), "62 F1 90 41");
}

INSTANTIATE_TEST_SUITE_P(Responses, UdsClientForeignResponse,
                         testing::Values(Foreign{"7E 00"}, Foreign{"7F 3E 12"}, Foreign{"7F 22"},
                                         Foreign{""}, Foreign{"22 F1 90"}));

TEST_F(UdsClientTest, DoesNotTakeTheLateResponseOfAnEarlierRequest) {
    link.answerNext({{1500ms, hex("62 F1 90 41")}});
    EXPECT_THROW(client.exchange(hex("22 F1 90")), LinkError);
    clock.advance(1000ms);
    link.answerNext({{1ms, hex("62 F1 95 42")}});
    EXPECT_EQ(hex(client.exchange(hex("22 F1 95"))), "62 F1 95 42");
}

TEST_F(UdsClientTest, TakesSilenceForAnAnswerWhenThePositiveResponseIsSuppressed) {
    EXPECT_TRUE(client.request(hex("3E 80")).empty());
    EXPECT_EQ(elapsed(), 1000ms);
}

TEST_F(UdsClientTest, StillHearsARefusalWhenThePositiveResponseIsSuppressed) {
    link.answerNext({{1ms, hex("7F 10 12")}});
    EXPECT_THROW(client.request(hex("10 C0")), NegativeResponse);
}

TEST_F(UdsClientTest, WaitsForTheResponseOnceTheControlUnitHasAskedForTime) {
    link.answerNext({{1ms, hex("7F 10 78")}});
    EXPECT_THROW(client.request(hex("10 83")), LinkError);
}

TEST_F(UdsClientTest, SendsNothingOnceCancelled) {
    cancel.request_stop();
    EXPECT_THROW(client.exchange(hex("3E 00")), Cancelled);
    EXPECT_TRUE(link.requests().empty());
}

TEST_F(UdsClientTest, EndsTheWaitWithin20MillisecondsOfACancel) {
    clock.onSleep([&](auto) {
        if (elapsed() >= 300ms) {
            cancel.request_stop();
        }
    });
    EXPECT_THROW(client.exchange(hex("22 F1 90")), Cancelled);
    EXPECT_LE(elapsed(), 320ms);
    const auto sleeps = clock.sleeps();
    EXPECT_LE(*std::max_element(sleeps.begin(), sleeps.end()), 20ms);
}

TEST_F(UdsClientTest, EndsTheWaitOfAPendingResponseOnACancel) {
    link.answerNext({{0ms, hex("7F 31 78")}});
    clock.onSleep([&](auto) { cancel.request_stop(); });
    EXPECT_THROW(client.exchange(hex("31 01 02 03")), Cancelled);
    EXPECT_EQ(elapsed(), 20ms);
}

TEST_F(UdsClientTest, RefusesAnEmptyRequest) {
    EXPECT_THROW(client.exchange({}), LinkError);
    EXPECT_TRUE(link.requests().empty());
}

TEST_F(UdsClientTest, UnlocksWithTheKeyForTheSeed) {
    link.answerNext({{0ms, hex("67 01 11 22 33 44")}});
    link.answerNext({{0ms, hex("67 02")}});
    client.unlock(1, 0x5A3C96E1);
    ASSERT_EQ(link.requests().size(), 2U);
    EXPECT_EQ(hex(link.requests()[0]), "27 01");
    EXPECT_EQ(hex(link.requests()[1]), "27 02 1E A5 A5 4B");
}

TEST_F(UdsClientTest, SendsNoKeyWhenTheControlUnitIsUnlockedAlready) {
    link.answerNext({{0ms, hex("67 03 00 00 00 00")}});
    client.unlock(3, 0x5A3C96E1);
    EXPECT_EQ(link.requests().size(), 1U);
}

TEST_F(UdsClientTest, ThrowsWhenTheKeyIsRefused) {
    link.answerNext({{0ms, hex("67 01 11 22 33 44")}});
    link.answerNext({{0ms, hex("7F 27 35")}});
    EXPECT_THROW(client.unlock(1, 0), NegativeResponse);
}

TEST_F(UdsClientTest, RefusesASeedOfAnotherLevel) {
    link.answerNext({{0ms, hex("67 03 11 22 33 44")}});
    EXPECT_THROW(client.unlock(1, 0), LinkError);
}

TEST_F(UdsClientTest, ReadsDataWithoutTheHeader) {
    link.answerNext({{0ms, hex("62 F1 95 41 42")}});
    EXPECT_EQ(hex(client.readData(Did::softwareVersion)), "41 42");
    EXPECT_EQ(hex(link.requests().front()), "22 F1 95");
}

class UdsClientUnusableData : public UdsClientTest, public testing::WithParamInterface<Foreign> {};

TEST_P(UdsClientUnusableData, IsALinkErrorThatShowsTheBytes) {
    link.answerNext({{0ms, hex(GetParam().response)}});
    try {
        client.readData(Did::vin);
        FAIL() << "no exception";
    } catch (const NoUsableResponse& error) {
        EXPECT_EQ(error.message(), L"unusable response to ReadDataByIdentifier (0x22): " +
                                       hexText(hex(GetParam().response)));
    }
}

INSTANTIATE_TEST_SUITE_P(Responses, UdsClientUnusableData,
                         testing::Values(Foreign{"62"}, Foreign{"62 F1"}, Foreign{"62 F1 95 41"}));

} // namespace
} // namespace Quarlen::Uds::Tests
