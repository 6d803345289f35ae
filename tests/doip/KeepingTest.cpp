#include <atomic>
#include <future>

#include "tests/doip/DoipTester.hpp"

// What keeps an idle connection, and how its end is noticed.

namespace Quarlen::Doip::Tests {

namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;
using testing::HasSubstr;

} // namespace

class IdleDoipTester : public DoipTester {
protected:
    void SetUp() override {
        auto settings = vehicle.settings();
        settings.times.keepAlive = 1ms;
        // Whatever nobody acknowledges does no harm but where a test says so.
        settings.times.acknowledgement = 1h;
        open(settings);
    }
    void open(const DoipSettings& settings) {
        make(settings);
        auto opening = openLater();
        vehicle.activate();
        opening.get();
    }
    /// To whom the next message goes that only keeps the connection.
    std::uint16_t nextKept() { return nextTargetOf("3E 80"); }
    std::uint16_t nextTargetOf(const std::string& bytes) {
        for (;;) {
            const Message message = vehicle.next();
            if (message.is(PayloadType::DiagnosticMessage)) {
                const auto request = decodeDiagnosticMessage(message.payload);
                if (hex(request.data) == bytes) {
                    return request.target;
                }
            }
        }
    }
    /// The messages that were under way already may still come.
    void awaitKept(std::uint16_t target) {
        while (nextKept() != target) {
        }
    }
    void awaitNoneKept() {
        int responses = 0;
        while (responses < 3) {
            responses = vehicle.next().is(PayloadType::AliveCheckResponse) ? responses + 1 : 0;
        }
    }
    static constexpr std::uint16_t gateway = ScriptedVehicle::entity;
};

TEST_F(IdleDoipTester, AsksTheControlUnitItAskedLastWhereTheGatewayIsNone) {
    const auto end = endOf(unit);
    send(*end, "3E 00");
    vehicle.acknowledge(unit);
    EXPECT_EQ(nextKept(), gateway);
    vehicle.refuse(gateway, DiagnosticNackCode::UnknownTargetAddress);
    awaitKept(unit);
    vehicle.refuse(unit, DiagnosticNackCode::UnknownTargetAddress);
    awaitNoneKept();
    EXPECT_EQ(tester->state(), Uds::VehicleInterface::State::Open);
}

TEST_F(IdleDoipTester, AsksNobodyWhereTheGatewayIsNoControlUnitAndNoneWasAsked) {
    EXPECT_EQ(nextKept(), gateway);
    vehicle.refuse(gateway, DiagnosticNackCode::UnknownTargetAddress);
    awaitNoneKept();
    EXPECT_EQ(tester->state(), Uds::VehicleInterface::State::Open);
}

TEST_F(IdleDoipTester, AFunctionalAddressIsNoControlUnitThatWasAsked) {
    const auto all = tester->openFunctional(0xE400);
    send(*all, "3E 00");
    vehicle.acknowledge(0xE400);
    EXPECT_EQ(nextKept(), gateway);
    vehicle.refuse(gateway, DiagnosticNackCode::UnknownTargetAddress);
    awaitNoneKept();
}

TEST_F(DoipTester, AGatewayThatDropsWhatIsForItselfIsNotTakenForSilent) {
    auto settings = vehicle.settings();
    settings.times.keepAlive = 1ms;
    open(settings, fake);
    while (!vehicle.next().is(PayloadType::DiagnosticMessage)) {
    }
    const auto end = endOf(unit);
    send(*end, "3E 00");
    vehicle.acknowledge(unit);
    fake.advance(1s);
    awaitNote();
    fake.advance(1s);
    for (bool isUnitKept = false; !isUnitKept;) {
        const Message message = vehicle.next();
        if (message.is(PayloadType::DiagnosticMessage)) {
            const auto request = decodeDiagnosticMessage(message.payload);
            isUnitKept = request.target == unit && hex(request.data) == "3E 80";
        }
    }
    EXPECT_EQ(tester->state(), Uds::VehicleInterface::State::Open);
}

TEST_F(IdleDoipTester, AGatewayThatCannotTakeItJustNowIsAskedAgain) {
    for (const auto code :
         {DiagnosticNackCode::OutOfMemory, DiagnosticNackCode::TargetUnreachable}) {
        EXPECT_EQ(nextKept(), gateway);
        vehicle.refuse(gateway, code);
        vehicle.acknowledge(gateway);
    }
    EXPECT_EQ(nextKept(), gateway);
    EXPECT_EQ(nextKept(), gateway);
}

TEST_F(IdleDoipTester, WhatOnlyKeepsTheConnectionDoesNotTakeTheRefusalOfARequest) {
    EXPECT_EQ(nextKept(), gateway);
    const auto end = endOf(unit);
    send(*end, "3E 00");
    vehicle.refuse(unit, DiagnosticNackCode::TargetUnreachable);
    EXPECT_THROW(receive(*end), Uds::MessageRefused);
    awaitKept(gateway);
}

TEST_F(DoipTester, WhatKeepsTheConnectionGoesOutAfterItsTimeOnly) {
    auto settings = vehicle.settings();
    settings.times.keepAlive = 50ms;
    settings.times.acknowledgement = 1h;
    const auto begin = std::chrono::steady_clock::now();
    open(settings, Platform::systemClock());
    for (int response = 0; response < 3;) {
        response += vehicle.next().is(PayloadType::AliveCheckResponse) ? 1 : 0;
    }
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 150ms);
}

TEST_F(IdleDoipTester, AnAcknowledgementTooManySaysNothingOfTheGateway) {
    EXPECT_EQ(nextKept(), gateway);
    for (int count = 0; count < 1000; ++count) {
        vehicle.acknowledge(gateway);
    }
    // So that the one that is refused is none of those that have been acknowledged.
    awaitNote();
    const auto end = endOf(unit);
    send(*end, "3E 00");
    EXPECT_EQ(nextTargetOf("3E 00"), unit);
    awaitKept(gateway);
    vehicle.refuse(gateway, DiagnosticNackCode::OutOfMemory);
    vehicle.acknowledge(unit);
    vehicle.answer(unit, "7E 00");
    EXPECT_EQ(receive(*end).source, unit);
}

TEST_F(IdleDoipTester, AGatewayThatWatchesForTesterPresentGetsItWhateverElseItIsSent) {
    const auto end = endOf(unit);
    std::atomic<bool> isOver = false;
    auto sending = std::async(std::launch::async, [&] {
        while (!isOver) {
            send(*end, "3E 00");
        }
    });
    EXPECT_EQ(nextKept(), gateway);
    isOver = true;
    vehicle.close();
    EXPECT_THROW(
        {
            sending.get();
            for (;;) {
                send(*end, "3E 00");
            }
        },
        Uds::LinkError);
}

TEST_F(DoipTester, AGatewayThatAcknowledgesAllInItsNameRefusesTheOldest) {
    open();
    const auto own = endOf(ScriptedVehicle::entity);
    const auto first = endOf(unit);
    send(*first, "3E 00");
    vehicle.acknowledge(ScriptedVehicle::entity);
    vehicle.awaitTester();
    send(*first, "3E 00");
    send(*own, "3E 00");
    vehicle.refuse(ScriptedVehicle::entity, DiagnosticNackCode::TargetUnreachable);
    EXPECT_THROW(receive(*first), Uds::MessageRefused);
    vehicle.answer(ScriptedVehicle::entity, "7E 00");
    EXPECT_EQ(receive(*own).source, ScriptedVehicle::entity);
}

TEST_F(DoipTester, AVehicleThatVanishesIsMissedAlsoWhileNobodyAsksIt) {
    auto settings = vehicle.settings();
    settings.times.keepAlive = 1ms;
    make(settings, fake);
    auto opening = openLater();
    vehicle.activate();
    opening.get();
    vehicle.expect(PayloadType::AliveCheckResponse);
    vehicle.expect(PayloadType::DiagnosticMessage);
    fake.advance(2s);
    EXPECT_THAT(lossOf(), HasSubstr(L"nothing acknowledges the one to 0x1000"));
}

} // namespace Quarlen::Doip::Tests
