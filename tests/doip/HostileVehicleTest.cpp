#include "tests/doip/DoipTester.hpp"

namespace Quarlen::Doip::Tests {

namespace {

using namespace std::chrono_literals;
using Quarlen::Tests::hex;
using testing::HasSubstr;

} // namespace

TEST_F(DoipTester, IsLostWhenTheVehicleClosesAndSaysSo) {
    open();
    const auto end = endOf(unit);
    vehicle.close();
    EXPECT_THAT(lossOf(), HasSubstr(L"has closed the connection"));
    EXPECT_THROW(receive(*end), Uds::ConnectionLost);
    EXPECT_THROW(send(*end, "3E 00"), Uds::ConnectionLost);
}

TEST_F(DoipTester, AnAnswerBeforeTheLossHasCome) {
    open();
    const auto end = endOf(unit);
    send(*end, "11 01");
    vehicle.expectRequest();
    vehicle.acknowledge(unit);
    vehicle.answer(unit, "51 01");
    vehicle.close();
    lossOf();
    EXPECT_EQ(hex(receive(*end).bytes), "51 01");
    EXPECT_THROW(receive(*end), Uds::ConnectionLost);
}

TEST_F(DoipTester, AConnectionThatEndsInTheMiddleOfAMessageSaysThatToo) {
    open();
    vehicle.sendBytes(hex("03 FC 80 01 00 00 00 06 00"));
    vehicle.close();
    EXPECT_THAT(lossOf(), HasSubstr(L"in the middle of a message"));
}

/// What a peer sends, and what the loss says of it.
struct Garbage {
    const char* name;
    const char* bytes;
    const wchar_t* cause;
};

class DoipTesterAgainst : public DoipTester, public testing::WithParamInterface<Garbage> {};

TEST_P(DoipTesterAgainst, IsLostWithItsCause) {
    open();
    vehicle.sendBytes(hex(GetParam().bytes));
    EXPECT_THAT(lossOf(), HasSubstr(GetParam().cause));
    EXPECT_TRUE(vehicle.isLeft());
}

INSTANTIATE_TEST_SUITE_P(
    Hostile, DoipTesterAgainst,
    testing::Values(
        Garbage{"AWrongInverse", "03 FD 80 01 00 00 00 05 00 11 0E 80 7E", L"03 FD"},
        Garbage{"AnUnknownVersion", "77 88 80 01 00 00 00 05 00 11 0E 80 7E", L"version 0x77"},
        Garbage{"FourGigabytes", "03 FC 80 01 FF FF FF FF", L"4294967295 bytes"},
        Garbage{"NoAddresses", "03 FC 80 01 00 00 00 00", L"expected at least 5"},
        Garbage{"NoData", "03 FC 80 01 00 00 00 04 00 11 0E 80", L"expected at least 5"},
        Garbage{"AShortAcknowledgement", "03 FC 80 02 00 00 00 02 00 11", L"expected at least 5"},
        Garbage{"AShortActivation", "03 FC 00 06 00 00 00 01 00", L"expected 9 or 13"},
        Garbage{"ANackOfThePattern", "03 FC 00 00 00 00 00 01 00", L"incorrect pattern format"}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(DoipTester, WhatNobodyHasAskedForIsTraceableAndHarmless) {
    open();
    const auto end = endOf(unit);
    vehicle.sendBytes(hex("03 FC 12 34 00 00 00 02 AA BB"));
    vehicle.answer(0x0999, "7E 00");
    vehicle.send(PayloadType::DiagnosticMessage,
                 encode(DiagnosticMessage{unit, 0x0E99, hex("7E 00")}));
    vehicle.send(PayloadType::RoutingActivationResponse,
                 encode(RoutingActivationResponse{0x0E80, 0x1000, 0x10}));
    vehicle.acknowledge(0x0777);
    send(*end, "3E 00");
    vehicle.answer(unit, "7E 00");
    EXPECT_EQ(hex(receive(*end).bytes), "7E 00");
    const std::lock_guard lock(mutex);
    ASSERT_EQ(notes.size(), 4U);
    EXPECT_THAT(notes[0], HasSubstr(L"unknown payload type (0x1234)"));
    EXPECT_THAT(notes[1], HasSubstr(L"a message from 0x0999, which nobody has asked anything"));
    EXPECT_THAT(notes[2], HasSubstr(L"to another tester, 0x0E99"));
    EXPECT_THAT(notes[3], HasSubstr(L"a routing activation that nobody has asked for"));
}

TEST_F(DoipTester, AFloodKeepsTheNewestAndDoesNotFillTheTrace) {
    open();
    const auto end = endOf(unit);
    for (int count = 0; count < 1000; ++count) {
        vehicle.answer(unit, "7E 00");
    }
    vehicle.answer(unit, "62 F1 90 41");
    // What comes before its answer has been taken.
    vehicle.send(PayloadType::AliveCheckRequest, {});
    vehicle.expect(PayloadType::AliveCheckResponse);
    std::string last;
    int taken = 0;
    while (last != "62 F1 90 41") {
        last = hex(receive(*end).bytes);
        ++taken;
    }
    EXPECT_EQ(taken, 256);
    const std::lock_guard lock(mutex);
    EXPECT_EQ(notes.size(), 20U);
    EXPECT_THAT(notes.back(), HasSubstr(L"further messages of this kind are not told"));
}

TEST_F(DoipTester, AMessageWithoutAnAcknowledgementLosesTheConnection) {
    open(fake);
    const auto end = endOf(unit);
    end->send(hex("3E 00"), {{}, fake.now() + 10s});
    const auto begin = fake.now();
    EXPECT_THROW(end->receive({{}, begin + 10s}), Uds::ConnectionLost);
    EXPECT_EQ(fake.now() - begin, 2s);
    EXPECT_THAT(lossOf(), HasSubstr(L"takes no messages any more"));
}

TEST_F(DoipTester, SilenceUpToTheDeadlineIsNoLoss) {
    open(fake);
    const auto end = endOf(unit);
    end->send(hex("3E 00"), {{}, fake.now() + 1s});
    EXPECT_EQ(end->receive({{}, fake.now() + 1s}), std::nullopt);
    EXPECT_EQ(tester->state(), Uds::VehicleInterface::State::Open);
    fake.advance(2s);
    EXPECT_THROW(end->send(hex("3E 00"), {{}, fake.now() + 1s}), Uds::ConnectionLost);
}

} // namespace Quarlen::Doip::Tests
