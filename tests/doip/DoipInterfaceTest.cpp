#include "doip/DoipInterface.hpp"

#include <utility>

#include "tests/doip/DoipTester.hpp"

namespace Quarlen::Doip::Tests {

namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;
using testing::HasSubstr;

} // namespace

TEST_F(DoipTester, AsksAControlUnitAndGetsItsAnswer) {
    open();
    const auto end = endOf(unit);
    send(*end, "22 F1 90");
    const auto request =
        decodeDiagnosticMessage(vehicle.expect(PayloadType::DiagnosticMessage).payload);
    EXPECT_EQ(request.source, 0x0E80);
    EXPECT_EQ(request.target, unit);
    EXPECT_EQ(hex(request.data), "22 F1 90");
    vehicle.acknowledge(unit);
    vehicle.answer(unit, "62 F1 90 41");
    const auto received = receive(*end);
    EXPECT_EQ(received.source, unit);
    EXPECT_EQ(hex(received.bytes), "62 F1 90 41");
}

TEST_F(DoipTester, EachControlUnitBehindTheGatewayGetsItsOwnAnswers) {
    open();
    const auto first = endOf(0x0011);
    const auto second = endOf(0x0012);
    send(*first, "3E 00");
    send(*second, "22 F1 90");
    vehicle.answer(0x0012, "62 F1 90 32");
    vehicle.answer(0x0011, "7E 00");
    EXPECT_EQ(hex(receive(*first).bytes), "7E 00");
    EXPECT_EQ(hex(receive(*second).bytes), "62 F1 90 32");
}

TEST_F(DoipTester, ARefusedMessageConcernsOneControlUnitOnly) {
    open();
    const auto end = endOf(unit);
    const auto other = endOf(0x0012);
    send(*end, "3E 00");
    vehicle.refuse(unit, DiagnosticNackCode::TargetUnreachable);
    try {
        receive(*end);
        FAIL() << "it was not refused";
    } catch (const Uds::MessageRefused& refusal) {
        EXPECT_EQ(refusal.code(), 0x06);
        EXPECT_EQ(refusal.message(), L"the vehicle has not passed the message to 0x0011 on: target "
                                     L"unreachable (0x06)");
    }
    send(*other, "3E 00");
    vehicle.answer(0x0012, "7E 00");
    EXPECT_EQ(hex(receive(*other).bytes), "7E 00");
}

TEST_F(DoipTester, AnAcknowledgementInTheGatewaysNameCounts) {
    open();
    const auto end = endOf(unit);
    send(*end, "3E 00");
    vehicle.refuse(ScriptedVehicle::entity, DiagnosticNackCode::UnknownTargetAddress);
    EXPECT_THROW(receive(*end), Uds::MessageRefused);
}

TEST_F(DoipTester, ARefusedHeaderConcernsItsMessageOnly) {
    open();
    const auto end = endOf(unit);
    for (const auto& [header, code] :
         {std::pair(HeaderNackCode::MessageTooLarge, DiagnosticNackCode::MessageTooLarge),
          std::pair(HeaderNackCode::OutOfMemory, DiagnosticNackCode::OutOfMemory)}) {
        send(*end, "36 01");
        vehicle.send(PayloadType::HeaderNack, encode(header));
        try {
            receive(*end);
            FAIL() << "it was not refused";
        } catch (const Uds::MessageRefused& refusal) {
            EXPECT_EQ(refusal.code(), static_cast<std::uint8_t>(code));
        }
    }
}

TEST_F(DoipTester, ARefusalOfATypeThatTheVehicleDoesNotKnowDoesNoHarm) {
    open();
    vehicle.send(PayloadType::HeaderNack, encode(HeaderNackCode::UnknownPayloadType));
    expectAlive();
    EXPECT_EQ(tester->state(), Uds::VehicleInterface::State::Open);
    EXPECT_THAT(notes, testing::ElementsAre(HasSubstr(
                           L"sends a refusal that concerns one message: unknown payload type")));
}

TEST_F(DoipTester, AFunctionalEndGetsTheAnswersOfAll) {
    open();
    const auto all = tester->openFunctional(0xE400);
    const auto end = endOf(unit);
    send(*all, "3E 00");
    vehicle.acknowledge(0xE400);
    vehicle.answer(unit, "7E 00");
    vehicle.answer(0x0012, "7E 00");
    EXPECT_EQ(receive(*all).source, unit);
    EXPECT_EQ(receive(*all).source, 0x0012);
}

TEST_F(DoipTester, AnAnswerThatSomebodyAwaitsIsNotOneOfAll) {
    open();
    const auto all = tester->openFunctional(0xE400);
    const auto end = endOf(unit);
    send(*end, "3E 00");
    send(*all, "3E 00");
    vehicle.answer(unit, "7E 00");
    vehicle.answer(unit, "7E 00");
    EXPECT_EQ(receive(*end).source, unit);
    EXPECT_EQ(receive(*all).source, unit);
}

TEST_F(DoipTester, AnswersAnAliveCheckWithItsAddress) {
    open();
    vehicle.send(PayloadType::AliveCheckRequest, {});
    EXPECT_EQ(hex(vehicle.expect(PayloadType::AliveCheckResponse).payload), "0E 80");
}

TEST_F(DoipTester, AnIdleConnectionIsKeptByAliveCheckResponsesAndTesterPresent) {
    auto settings = vehicle.settings();
    settings.times.keepAlive = 1ms;
    settings.times.acknowledgement = 1h;
    make(settings);
    auto opening = openLater();
    vehicle.activate();
    opening.get();
    EXPECT_EQ(hex(vehicle.expect(PayloadType::AliveCheckResponse).payload), "0E 80");
    EXPECT_EQ(hex(vehicle.expect(PayloadType::DiagnosticMessage).payload), "0E 80 10 00 3E 80");
    vehicle.refuse(ScriptedVehicle::entity, DiagnosticNackCode::UnknownTargetAddress);
    // What was under way already may still come; then only the responses do.
    int responses = 0;
    while (responses < 3) {
        responses = vehicle.next().is(PayloadType::AliveCheckResponse) ? responses + 1 : 0;
    }
    EXPECT_EQ(tester->state(), Uds::VehicleInterface::State::Open);
}

TEST_F(DoipTester, ACancelEndsASendThatFindsNoRoomAndKeepsTheMessageWhole) {
    open();
    const auto end = endOf(unit);
    // More than the buffers of both sides hold.
    const Bytes large(std::size_t{64} << 20U, 0x36);
    std::stop_source cancel;
    auto sending = std::async(std::launch::async, [&] {
        end->send(large, {cancel.get_token(), Platform::systemClock().now() + longTime});
    });
    const Header header = vehicle.nextHeader();
    cancel.request_stop();
    EXPECT_THROW(sending.get(), Uds::Cancelled);
    EXPECT_EQ(vehicle.restOf(header).payload.size(), large.size() + addressesSize);
    send(*end, "3E 00");
    EXPECT_EQ(vehicle.expectRequest(), "3E 00");
}

TEST_F(DoipTester, ALargeMessageAndAnAliveCheckDoNotMix) {
    open();
    const auto end = endOf(unit);
    const Bytes large(std::size_t{8} << 20U, 0x36);
    auto sending = std::async(std::launch::async, [&] {
        end->send(large, {{}, Platform::systemClock().now() + longTime});
    });
    vehicle.send(PayloadType::AliveCheckRequest, {});
    const Message first = vehicle.next();
    const Message second = vehicle.next();
    sending.get();
    const Message& message = first.is(PayloadType::DiagnosticMessage) ? first : second;
    const Message& alive = first.is(PayloadType::DiagnosticMessage) ? second : first;
    EXPECT_EQ(message.payload.size(), large.size() + addressesSize);
    EXPECT_EQ(hex(alive.payload), "0E 80");
}

TEST_F(DoipTester, ALinkNeedsAnAddressAndMayNotBeAnotherTesters) {
    make(vehicle.settings());
    EXPECT_THROW(static_cast<void>(tester->resolve({L"LINK"})), Uds::LinkError);
    EXPECT_THROW(static_cast<void>(tester->resolve({L"LINK", unit, {}, 0x0E81})), Uds::LinkError);
    EXPECT_EQ(tester->resolve({L"LINK", unit}).tester, 0x0E80);
    EXPECT_EQ(tester->tester(), 0x0E80);
}

TEST_F(DoipTester, WhatIsSmallAndWaitsBehindALargeMessageHasABound) {
    open();
    const auto end = endOf(unit);
    auto sending = std::async(std::launch::async, [&] {
        end->send(Bytes(std::size_t{64} << 20U, 0x36),
                  {{}, Platform::systemClock().now() + longTime});
        end->send(hex("3E 00"), {{}, Platform::systemClock().now() + longTime});
    });
    const Header header = vehicle.nextHeader();
    for (int check = 0; check < 1000; ++check) {
        vehicle.send(PayloadType::AliveCheckRequest, {});
    }
    awaitNote();
    vehicle.restOf(header);
    int answers = 0;
    while (vehicle.next().is(PayloadType::AliveCheckResponse)) {
        ++answers;
    }
    sending.get();
    // 1024 bytes of them.
    EXPECT_EQ(answers, 102);
}

TEST_F(DoipTester, CannotBeOpenedAfterItWasClosed) {
    make(vehicle.settings());
    tester->close();
    EXPECT_THROW(tester->open({}), Uds::Cancelled);
}

} // namespace Quarlen::Doip::Tests
