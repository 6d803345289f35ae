#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>

#include "tests/doip/DoipTester.hpp"

namespace Quarlen::Doip::Tests {

namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;
using testing::AllOf;
using testing::HasSubstr;

/// Enough to fill whatever has no bound, in a time that tests have.
constexpr int manyMessages = 20'000;

Bytes manyOf(PayloadType type, const Bytes& payload) {
    const Bytes one = encode(type, payload);
    Bytes all;
    all.reserve(one.size() * manyMessages);
    for (int count = 0; count < manyMessages; ++count) {
        all.insert(all.end(), one.begin(), one.end());
    }
    return all;
}

class Flood : public DoipTester {
protected:
    /// Nobody keeps what could not be opened.
    std::future<void> openOnceLater() {
        return std::async(std::launch::async, [this] {
            const auto own = std::move(tester);
            own->open({});
        });
    }
    void expectAnExchange() {
        const auto end = endOf(unit);
        send(*end, "22 F1 90");
        EXPECT_EQ(vehicle.expectRequest(), "22 F1 90");
        vehicle.acknowledge(unit);
        vehicle.answer(unit, "62 F1 90 41");
        EXPECT_EQ(hex(receive(*end).bytes), "62 F1 90 41");
    }
};

} // namespace

TEST_F(Flood, OfAcknowledgementsIsHarmless) {
    open();
    vehicle.sendBytes(
        manyOf(PayloadType::DiagnosticMessageAck, encode(DiagnosticAck{unit, vehicle.tester})));
    expectAnExchange();
}

TEST_F(Flood, OfAnswersDoesNotKeepAnybodyWhoseTimeIsOver) {
    open();
    expectAnExchange();
    const auto end = endOf(unit);
    std::atomic<bool> isOver = false;
    auto flooding = std::async(std::launch::async, [&] {
        const Bytes answer = encode(PayloadType::DiagnosticMessage,
                                    encode(DiagnosticMessage{unit, vehicle.tester, hex("7E 00")}));
        while (!isOver && vehicle.trySend(answer)) {
        }
    });
    const auto deadline = Platform::systemClock().now();
    int count = 0;
    while (count < manyMessages && end->receive({{}, deadline})) {
        ++count;
    }
    isOver = true;
    tester.reset();
    EXPECT_LT(count, manyMessages);
}

TEST_F(Flood, OfAcknowledgementsDoesNotCountForTheNextMessage) {
    open(fake);
    const auto end = endOf(unit);
    vehicle.sendBytes(
        manyOf(PayloadType::DiagnosticMessageAck, encode(DiagnosticAck{unit, vehicle.tester})));
    awaitNote();
    end->send(hex("3E 00"), {{}, fake.now() + 10s});
    EXPECT_THROW(end->receive({{}, fake.now() + 10s}), Uds::ConnectionLost);
}

TEST_F(Flood, OfRefusalsDoesNotCountForTheNextMessage) {
    open();
    const auto refusal = static_cast<std::uint8_t>(DiagnosticNackCode::TargetUnreachable);
    vehicle.sendBytes(manyOf(PayloadType::DiagnosticMessageNack,
                             encode(DiagnosticAck{unit, vehicle.tester, refusal})));
    expectAlive();
    expectAnExchange();
}

TEST_F(Flood, OfHeaderRefusalsDoesNotCountForTheNextMessage) {
    open();
    vehicle.sendBytes(manyOf(PayloadType::HeaderNack, encode(HeaderNackCode::OutOfMemory)));
    expectAlive();
    expectAnExchange();
    const std::lock_guard lock(mutex);
    ASSERT_EQ(notes.size(), 20U);
    EXPECT_THAT(notes[0], AllOf(HasSubstr(L"a message that nobody has sent"),
                                HasSubstr(L"out of memory (0x03)")));
}

TEST_F(Flood, OfActivationsAndUnknownMessagesIsHarmless) {
    open();
    vehicle.sendBytes(manyOf(PayloadType::RoutingActivationResponse,
                             encode(RoutingActivationResponse{vehicle.tester, 0x1000, 0x00})));
    vehicle.sendBytes(manyOf(static_cast<PayloadType>(0xF0F0), {}));
    expectAnExchange();
    const std::lock_guard lock(mutex);
    EXPECT_EQ(notes.size(), 20U);
}

TEST_F(Flood, OfAliveChecksIsAnsweredInWholeMessages) {
    open();
    constexpr int rounds = 3;
    for (int round = 0; round < rounds; ++round) {
        vehicle.sendBytes(manyOf(PayloadType::AliveCheckRequest, {}));
    }
    // The vehicle has read nothing so far.
    awaitNote();
    const auto end = endOf(unit);
    const auto asking = std::async(std::launch::async, [&] { send(*end, "22 F1 90"); });
    Message message = vehicle.next();
    int answers = 0;
    for (; message.is(PayloadType::AliveCheckResponse); message = vehicle.next()) {
        EXPECT_EQ(decodeAddress(message.payload), vehicle.tester);
        ++answers;
    }
    EXPECT_GT(answers, 0);
    EXPECT_LE(answers, rounds * manyMessages);
    EXPECT_TRUE(message.is(PayloadType::DiagnosticMessage));
}

TEST_F(Flood, DuringTheActivationEndsWithItsTime) {
    auto settings = vehicle.settings();
    settings.times.control = 200ms;
    make(settings);
    auto opening = openOnceLater();
    vehicle.accept();
    const Bytes flood = manyOf(static_cast<PayloadType>(0xF0F0), {});
    while (vehicle.trySend(flood)) {
    }
    EXPECT_THAT(messageOf<Uds::ConnectionLost>(std::move(opening)),
                HasSubstr(L"does not answer the routing activation within 200 ms"));
}

TEST_F(Flood, OfWishesForAConfirmationEndsWithItsTime) {
    auto settings = vehicle.settings();
    settings.times.confirmation = 200ms;
    make(settings);
    auto opening = openOnceLater();
    vehicle.accept();
    const Bytes flood = manyOf(PayloadType::RoutingActivationResponse,
                               encode(RoutingActivationResponse{vehicle.tester, 0x1000, 0x11}));
    while (vehicle.trySend(flood)) {
    }
    EXPECT_THAT(messageOf<Uds::ConnectionLost>(std::move(opening)),
                HasSubstr(L"does not answer the routing activation within 200 ms"));
}

} // namespace Quarlen::Doip::Tests
