#include <atomic>
#include <thread>

#include "tests/doip/WaitingDoipTester.hpp"

// How long somebody waits, and who reads meanwhile.

namespace Quarlen::Doip::Tests {

namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;
using testing::HasSubstr;

} // namespace

TEST_F(WaitingDoipTester, ReadsTheNextAnswerHimselfOnceHeHasGotOne) {
    EXPECT_TRUE(readsHimselfAtTimes(*endOf(unit)));
}

TEST_F(WaitingDoipTester, ReadsHimselfAlsoWhereSomebodyElseHasWaitedInVain) {
    const auto other = endOf(0x0012);
    std::stop_source cancel;
    clock.onNextWait([&] { cancel.request_stop(); });
    EXPECT_THROW(other->receive({cancel.get_token(), clock.now() + 1h}), Uds::Cancelled);
    EXPECT_TRUE(readsHimselfAtTimes(*endOf(unit)));
}

TEST_F(WaitingDoipTester, IsFreedByCloseAlsoWhereHeWaitsForTheAnswersOfAll) {
    const auto all = tester->openFunctional(0xE400);
    auto waiting = std::async(std::launch::async, [&] {
        static_cast<void>(all->receive({{}, clock.now() + 1h}));
    });
    // He still holds the lock then, so that the close comes after he has begun to wait.
    while (clock.asked().empty()) {
        std::this_thread::yield();
    }
    tester->close();
    EXPECT_THROW(waiting.get(), Uds::Cancelled);
}

TEST_F(WaitingDoipTester, GetsNoAnswerAfterACancelOrAClose) {
    const auto end = endOf(unit);
    beginExchange(*end);
    vehicle.answer(unit, "7E 00");
    vehicle.awaitTester();
    std::stop_source cancel;
    cancel.request_stop();
    EXPECT_THROW(end->receive({cancel.get_token(), clock.now() + 1h}), Uds::Cancelled);
    tester->close();
    EXPECT_THROW(receiveUntil(*end, clock.now() + 1h), Uds::Cancelled);
}

TEST_F(WaitingDoipTester, WithoutTimeGetsAnAnswerToWhatWasAskedBefore) {
    const auto end = endOf(unit);
    const auto all = tester->openFunctional(0xE400);
    all->send(hex("3E 00"), {{}, clock.now() + 1h});
    beginExchange(*end);
    EXPECT_FALSE(receiveUntil(*end, clock.now()));
    vehicle.answer(unit, "7E 00");
    EXPECT_TRUE(receiveUntil(*end, clock.now() + 1h));
}

TEST_F(DoipTester, AnAcknowledgementMeanwhileGivesTheAnswerAllOfItsTime) {
    open(fake);
    const auto end = endOf(unit);
    end->send(hex("22 F1 90"), {{}, fake.now() + 1s});
    vehicle.expect(PayloadType::DiagnosticMessage);
    fake.callAfter(1s, [this] {
        vehicle.acknowledge(unit);
        vehicle.awaitTester();
    });
    fake.callAfter(9s, [this] {
        vehicle.answer(unit, "62 F1 90 41");
        vehicle.awaitTester();
    });
    const auto received = end->receive({{}, fake.now() + 10s});
    ASSERT_TRUE(received);
    EXPECT_EQ(hex(received->bytes), "62 F1 90 41");
    EXPECT_EQ(tester->state(), Uds::VehicleInterface::State::Open);
}

TEST_F(DoipTester, ALongMessageHasItsTimeAnewAsLongAsItGoesOn) {
    ListeningClock clock;
    open(clock);
    const auto end = endOf(unit);
    const auto begin = clock.now();
    auto sending = std::async(std::launch::async, [&] {
        end->send(Bytes(std::size_t{64} << 20U, 0x36), {{}, begin + 1s});
    });
    while (clock.asked().empty()) {
        std::this_thread::yield();
    }
    vehicle.next();
    sending.get();
    EXPECT_GT(clock.asked().back(), begin + 1s);
    // Before its clock.
    tester.reset();
}

TEST_F(DoipTester, OneExchangeAfterTheOtherGetsItsOwnAnswers) {
    open();
    const auto end = endOf(unit);
    for (int number = 0; number < 100; ++number) {
        send(*end, "22 F1 90");
        vehicle.expect(PayloadType::DiagnosticMessage);
        vehicle.acknowledge(unit);
        const std::string answer = "62 F1 90 " + hex(Bytes{static_cast<std::uint8_t>(number)});
        vehicle.answer(unit, answer.c_str());
        EXPECT_EQ(hex(receive(*end).bytes), answer);
    }
}

TEST_F(DoipTester, BetweenTwoExchangesTheConnectionIsStillRead) {
    open();
    const auto end = endOf(unit);
    for (int number = 0; number < 3; ++number) {
        send(*end, "3E 00");
        vehicle.expect(PayloadType::DiagnosticMessage);
        vehicle.answer(unit, "7E 00");
        receive(*end);
        // Nobody waits for anything now.
        vehicle.awaitTester();
    }
    vehicle.close();
    EXPECT_THAT(lossOf(), HasSubstr(L"has closed the connection"));
}

TEST_F(DoipTester, WhatHasComeBeforeIsThereForWhoLooksWithoutAWait) {
    open();
    const auto end = endOf(unit);
    send(*end, "3E 00");
    vehicle.expect(PayloadType::DiagnosticMessage);
    vehicle.answer(unit, "7E 00");
    vehicle.answer(unit, "7E 00");
    vehicle.awaitTester();
    receive(*end);
    EXPECT_TRUE(end->receive({{}, Platform::systemClock().now()}));
    EXPECT_FALSE(end->receive({{}, Platform::systemClock().now()}));
}

TEST_F(DoipTester, ManyWhoWaitAtOnceGetTheirOwnAnswers) {
    open();
    constexpr std::uint16_t count = 8;
    constexpr int rounds = 50;
    std::atomic<int> right = 0;
    std::vector<std::jthread> users;
    for (std::uint16_t number = 1; number <= count; ++number) {
        users.emplace_back([&, number] {
            const auto end = endOf(number);
            for (int round = 0; round < rounds; ++round) {
                send(*end, "3E 00");
                right += receive(*end).source == number ? 1 : 0;
            }
        });
    }
    for (int message = 0; message < count * rounds; ++message) {
        const auto request =
            decodeDiagnosticMessage(vehicle.expect(PayloadType::DiagnosticMessage).payload);
        vehicle.acknowledge(request.target);
        vehicle.answer(request.target, "7E 00");
    }
    users.clear();
    EXPECT_EQ(right, count * rounds);
}

TEST_F(DoipTester, ALateAnswerToOneIsNotTheAnswerToAll) {
    open(fake);
    const auto end = endOf(unit);
    const auto all = tester->openFunctional(0xE400);
    end->send(hex("3E 00"), {{}, fake.now() + 1s});
    EXPECT_FALSE(end->receive({{}, fake.now() + 1s}));
    all->send(hex("3E 00"), {{}, fake.now() + 1s});
    vehicle.answer(unit, "7E 00");
    vehicle.awaitTester();
    EXPECT_TRUE(all->receive({{}, fake.now() + 1s}));
}

} // namespace Quarlen::Doip::Tests
