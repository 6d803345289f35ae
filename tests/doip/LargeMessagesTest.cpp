#include <algorithm>
#include <thread>

#include "tests/doip/WaitingDoipTester.hpp"

// A message that does not go out in one go, and what happens meanwhile.

namespace Quarlen::Doip::Tests {

namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;
using testing::HasSubstr;

} // namespace

TEST_F(WaitingDoipTester, CanGiveUpBehindALargeMessageWithoutALoss) {
    const auto end = endOf(unit);
    const auto other = endOf(0x0012);
    auto sending = sendLargeLater(*end);
    std::stop_source cancel;
    clock.onNextWait([&] { cancel.request_stop(); });
    EXPECT_THROW(other->send(hex("3E 00"), {cancel.get_token(), clock.now() + 1h}), Uds::Cancelled);
    EXPECT_EQ(vehicle.next().payload.size(), largeSize + addressesSize);
    sending.get();
    EXPECT_EQ(tester->state(), Uds::VehicleInterface::State::Open);
}

TEST_F(WaitingDoipTester, MissesAVehicleThatDoesNotReadWhatNobodyWaitsForAnyMore) {
    reset();
    openKept();
    const auto end = endOf(unit);
    std::stop_source cancel;
    clock.onNextWait([&] { cancel.request_stop(); });
    EXPECT_THROW(end->send(Bytes(largeSize, 0x36), {cancel.get_token(), clock.now() + 1h}),
                 Uds::Cancelled);
    auto loss = lost.get_future();
    while (loss.wait_for(1ms) != std::future_status::ready) {
        clock.advance(1h);
    }
    EXPECT_THAT(loss.get(), HasSubstr(L"does not read what it is sent"));
}

TEST_F(WaitingDoipTester, CountsTheTimeForAnAcknowledgementFromTheLastByte) {
    const auto end = endOf(unit);
    auto sending = sendLargeLater(*end);
    clock.advance(10s);
    vehicle.next();
    sending.get();
    EXPECT_NO_THROW(beginExchange(*end));
}

TEST_F(WaitingDoipTester, IsAnsweredAlsoBeforeTheLastByteIsOut) {
    const auto end = endOf(unit);
    auto sending = sendLargeLater(*end);
    vehicle.answer(unit, "7F 36 31");
    vehicle.awaitTester();
    sending.get();
    // An acknowledgement is not missed any more.
    clock.advance(10s);
    EXPECT_NO_THROW(beginExchange(*end));
}

TEST_F(WaitingDoipTester, DoesNotWaitForALargeMessageWhereHeHearsOfTheLoss) {
    reset();
    make(vehicle.settings(), clock);
    std::unique_ptr<Uds::Endpoint> other;
    tester->onLost([&](const std::wstring& /*cause*/) {
        EXPECT_NO_THROW(other->send(hex("3E 00"), {{}, clock.now() + 1h}));
    });
    auto opening = openLater();
    vehicle.activate();
    opening.get();
    other = endOf(0x0012);
    const auto end = endOf(unit);
    const auto large = endOf(0x0013);
    beginExchange(*end);
    const auto sending = sendLargeLater(*large);
    clock.advance(10s);
    EXPECT_THROW(receiveUntil(*end, clock.now() + 1h), Uds::ConnectionLost);
    sending.wait();
}

TEST_F(WaitingDoipTester, IsNotLostWhileALargeMessageGoesOut) {
    reset();
    openKept();
    const auto end = endOf(unit);
    auto sending = sendLargeLater(*end);
    const Header large = nextLarge();
    // What came before it has been acknowledged.
    awaitNote();
    clock.advance(2h);
    // It takes many looks of the connection's thread until the message is there.
    vehicle.restOf(large);
    vehicle.acknowledge(unit);
    for (int responses = 0; responses < 10;) {
        const bool isResponse = vehicle.next().is(PayloadType::AliveCheckResponse);
        responses += isResponse ? 1 : 0;
        if (!isResponse) {
            vehicle.acknowledge(ScriptedVehicle::entity);
        }
    }
    sending.get();
    EXPECT_EQ(tester->state(), Uds::VehicleInterface::State::Open);
}

class TwoLargeMessages : public WaitingDoipTester {
protected:
    /// Both are under way, and neither is read.
    void begin(std::chrono::milliseconds keepAlive) {
        reset();
        auto settings = vehicle.settings();
        settings.times.keepAlive = keepAlive;
        settings.times.acknowledgement = 1h;
        open(settings, clock);
        end = endOf(unit);
        other = endOf(0x0012);
        first = sendLargeLater(*end);
        second = std::async(std::launch::async, [this] {
            other->send(Bytes(largeSize, 0x36), {{}, clock.now() + 1h});
        });
    }
    /// Until the connection's own thread has looked so often at the clock: three times in a round
    /// at the most.
    void awaitLooks(int count) {
        for (const int before = clock.looksOf(noter); clock.looksOf(noter) < before + count;) {
            std::this_thread::yield();
        }
    }
    void expectTesterPresentBetweenThem() {
        bool isKept = false;
        int inARow = 0;
        int longestRow = 0;
        for (int large = 0; large < 2;) {
            const Message message = vehicle.next();
            const bool isRequest = message.is(PayloadType::DiagnosticMessage);
            const bool isLarge = message.payload.size() == largeSize + addressesSize;
            large += isLarge ? 1 : 0;
            inARow = isRequest && !isLarge ? inARow + 1 : 0;
            longestRow = std::max(longestRow, inARow);
            isKept = isKept || (large == 1 && inARow > 0);
        }
        EXPECT_TRUE(isKept);
        // However long they wait, one TesterPresent is enough.
        EXPECT_LT(longestRow, 5);
        first.get();
        second.get();
        EXPECT_EQ(tester->state(), Uds::VehicleInterface::State::Open);
    }

    std::unique_ptr<Uds::Endpoint> end;
    std::unique_ptr<Uds::Endpoint> other;
    std::future<void> first;
    std::future<void> second;
};

TEST_F(TwoLargeMessages, KeepTheGateway) {
    begin(1ms);
    awaitNote();
    awaitLooks(90);
    expectTesterPresentBetweenThem();
}

TEST_F(TwoLargeMessages, KeepAGatewayThatWatchesForTesterPresentBehindAnAnswerThatWaits) {
    // The answer waits before the first TesterPresent does.
    begin(300ms);
    vehicle.send(PayloadType::AliveCheckRequest, {});
    awaitNote();
    awaitLooks(4);
    expectTesterPresentBetweenThem();
}

} // namespace Quarlen::Doip::Tests
