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
    clock.advance(2h);
    // It takes many looks of the connection's thread until the message is there.
    bool isThere = false;
    for (int responsesBehindIt = 0; responsesBehindIt < 10;) {
        const Message message = vehicle.next();
        if (message.is(PayloadType::AliveCheckResponse)) {
            responsesBehindIt += isThere ? 1 : 0;
        } else {
            const bool isIt = message.payload.size() == largeSize + addressesSize;
            isThere = isThere || isIt;
            vehicle.acknowledge(isIt ? unit : ScriptedVehicle::entity);
        }
    }
    sending.get();
    EXPECT_EQ(tester->state(), Uds::VehicleInterface::State::Open);
}

TEST_F(WaitingDoipTester, KeepsTheGatewayBetweenLargeMessages) {
    reset();
    openKept();
    const auto end = endOf(unit);
    const auto other = endOf(0x0012);
    auto first = sendLargeLater(*end);
    auto second = std::async(std::launch::async, [&] {
        other->send(Bytes(largeSize, 0x36), {{}, clock.now() + 1h});
    });
    // Some rounds of the connection's own thread, meanwhile.
    for (const int before = clock.othersLooks(); clock.othersLooks() < before + 5;) {
        std::this_thread::yield();
    }
    bool isKept = false;
    for (int large = 0; large < 2;) {
        const Message message = vehicle.next();
        if (message.is(PayloadType::DiagnosticMessage)) {
            const auto request = decodeDiagnosticMessage(message.payload);
            large += request.data.size() == largeSize ? 1 : 0;
            isKept = isKept || (large == 1 && request.data == hex("3E 80"));
        }
    }
    EXPECT_TRUE(isKept);
    first.get();
    second.get();
    EXPECT_EQ(tester->state(), Uds::VehicleInterface::State::Open);
}

} // namespace Quarlen::Doip::Tests
