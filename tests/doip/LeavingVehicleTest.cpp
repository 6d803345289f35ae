#include <memory>

#include "tests/doip/DoipTester.hpp"
#include "uds/Channel.hpp"

namespace Quarlen::Doip::Tests {

namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;
using testing::AnyOf;
using testing::HasSubstr;

/// A vehicle that leaves at some step of an exchange, and a job that does not know it yet.
class LeavingVehicle : public DoipTester {
protected:
    void openChannel() {
        open();
        constexpr Uds::Timing timing{
            .p2 = longTime, .p2Star = longTime, .total = longTime, .busy = longTime, .delta = 10ms};
        channel = std::make_unique<Uds::Channel>(tester->resolve({L"LINK", unit}), endOf(unit),
                                                 Platform::systemClock(), timing,
                                                 [](const Uds::BusEvent&) {});
    }
    std::future<void> exchangeLater(const char* request) {
        return std::async(std::launch::async, [this, request] {
            static_cast<void>(channel->exchange(hex(request), {}));
        });
    }
    /// What the job hears, and everybody who asks after it.
    void expectLoss(std::future<void> exchange) {
        EXPECT_THAT(messageOf<Uds::ConnectionLost>(std::move(exchange)),
                    HasSubstr(L"has closed the connection"));
        EXPECT_THAT(messageOf<Uds::ConnectionLost>(exchangeLater("3E 00")),
                    HasSubstr(L"has closed the connection"));
        EXPECT_EQ(tester->state(), Uds::VehicleInterface::State::Lost);
    }
    void serve(const char* request, const char* response) {
        auto exchange = exchangeLater(request);
        EXPECT_EQ(vehicle.expectRequest(), request);
        vehicle.acknowledge(unit);
        vehicle.answer(unit, response);
        exchange.get();
    }

    std::unique_ptr<Uds::Channel> channel;
};

} // namespace

TEST_F(LeavingVehicle, AsSoonAsItHasAccepted) {
    make(vehicle.settings());
    auto opening = openLater();
    vehicle.accept();
    vehicle.close();
    // What it has not read makes a reset of its end.
    EXPECT_THAT(messageOf<Uds::ConnectionLost>(std::move(opening)),
                AnyOf(HasSubstr(L"the vehicle at 127.0.0.1:"), HasSubstr(L"no vehicle answers")));
    EXPECT_EQ(tester->state(), Uds::VehicleInterface::State::Closed);
}

TEST_F(LeavingVehicle, AfterTheRequest) {
    openChannel();
    auto exchange = exchangeLater("22 F1 90");
    vehicle.expectRequest();
    vehicle.close();
    expectLoss(std::move(exchange));
}

TEST_F(LeavingVehicle, AfterTheAcknowledgement) {
    openChannel();
    auto exchange = exchangeLater("22 F1 90");
    vehicle.expectRequest();
    vehicle.acknowledge(unit);
    vehicle.close();
    expectLoss(std::move(exchange));
}

TEST_F(LeavingVehicle, AfterAResponsePending) {
    openChannel();
    auto exchange = exchangeLater("22 F1 90");
    vehicle.expectRequest();
    vehicle.acknowledge(unit);
    vehicle.answer(unit, "7F 22 78");
    vehicle.close();
    expectLoss(std::move(exchange));
}

TEST_F(LeavingVehicle, InTheMiddleOfTheAnswer) {
    openChannel();
    auto exchange = exchangeLater("22 F1 90");
    vehicle.expectRequest();
    vehicle.acknowledge(unit);
    vehicle.sendBytes(hex("03 FC 80 01 00 00 00 07 00 11 0E 80 62 F1"));
    vehicle.close();
    EXPECT_THAT(messageOf<Uds::ConnectionLost>(std::move(exchange)),
                HasSubstr(L"has closed the connection in the middle of a message"));
}

TEST_F(LeavingVehicle, InTheMiddleOfATransfer) {
    openChannel();
    serve("34 00 44 00 00 10 00 00 00 00 06", "74 20 00 04");
    serve("36 01 AA BB", "76 01");
    serve("36 02 CC DD", "76 02");
    auto exchange = exchangeLater("36 03 EE FF");
    vehicle.expectRequest();
    vehicle.close();
    expectLoss(std::move(exchange));
}

TEST_F(LeavingVehicle, WhileABlockIsOnItsWay) {
    openChannel();
    // More than the system keeps between the two.
    auto exchange = std::async(std::launch::async, [this] {
        static_cast<void>(channel->exchange(Bytes(std::size_t{32} << 20U, 0x36), {}));
    });
    vehicle.nextHeader();
    vehicle.close();
    EXPECT_THAT(messageOf<Uds::ConnectionLost>(std::move(exchange)),
                HasSubstr(L"the vehicle at 127.0.0.1:"));
}

TEST_F(LeavingVehicle, WithAnAnswerToTheLastQuestion) {
    openChannel();
    auto exchange = exchangeLater("11 01");
    vehicle.expectRequest();
    vehicle.acknowledge(unit);
    vehicle.answer(unit, "51 01");
    vehicle.close();
    EXPECT_NO_THROW(exchange.get());
}

TEST_F(LeavingVehicle, ASecondAnswerIsNotThatOfTheNextQuestion) {
    openChannel();
    auto first = exchangeLater("22 F1 90");
    vehicle.expectRequest();
    vehicle.acknowledge(unit);
    vehicle.answer(unit, "62 F1 90 41");
    vehicle.answer(unit, "62 F1 90 42");
    first.get();
    expectAlive();
    auto second =
        std::async(std::launch::async, [this] { return channel->exchange(hex("22 F1 90"), {}); });
    vehicle.expectRequest();
    vehicle.acknowledge(unit);
    vehicle.answer(unit, "62 F1 90 43");
    EXPECT_EQ(hex(second.get()), "62 F1 90 43");
}

TEST_F(LeavingVehicle, AnAnswerToAnotherQuestionIsNotTheOnesThatWaits) {
    openChannel();
    auto exchange =
        std::async(std::launch::async, [this] { return channel->exchange(hex("22 F1 90"), {}); });
    vehicle.expectRequest();
    vehicle.acknowledge(unit);
    vehicle.answer(unit, "62 F1 87 00");
    vehicle.answer(unit, "7F 31 10");
    vehicle.answer(unit, "7E 00");
    vehicle.answer(unit, "62 F1 90 43");
    EXPECT_EQ(hex(exchange.get()), "62 F1 90 43");
}

} // namespace Quarlen::Doip::Tests
