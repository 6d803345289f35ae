#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/doip/DoipTester.hpp"

namespace Quarlen::Doip::Tests {

namespace {

using Quarlen::Tests::hex;
using testing::HasSubstr;

/// What a vehicle may send.
struct Sort {
    const char* name;
    PayloadType type;
    const char* payload;
    /// Fewer bytes are no message of this type.
    std::size_t least;
};

std::wstring textOf(const Sort& sort) {
    return payloadTypeText(static_cast<std::uint16_t>(sort.type));
}

Bytes firstOf(const Bytes& bytes, std::size_t count) {
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count)};
}

class CutMessages : public DoipTester, public testing::WithParamInterface<Sort> {
protected:
    static Bytes whole() { return encode(GetParam().type, hex(GetParam().payload)); }
};

class CutActivation : public DoipTester {
protected:
    void beginOpening() {
        make(vehicle.settings());
        opening = openLater();
        vehicle.accept();
        vehicle.expect(PayloadType::RoutingActivationRequest);
    }
    std::wstring failure() { return messageOf<Uds::ConnectionLost>(std::move(opening)); }

    std::future<void> opening;
    const Bytes response = hex("0E 80 10 00 10 00 00 00 00 00 00 00 00");
};

} // namespace

TEST_P(CutMessages, APayloadThatIsTooShortIsNamed) {
    for (std::size_t size = 0; size < GetParam().least; ++size) {
        SCOPED_TRACE(size);
        open();
        vehicle.send(GetParam().type, firstOf(hex(GetParam().payload), size));
        EXPECT_THAT(lossOf(), HasSubstr(textOf(GetParam()) + L" has " + std::to_wstring(size) +
                                        L" bytes, expected"));
        EXPECT_TRUE(vehicle.isLeft());
        reset();
    }
}

TEST_P(CutMessages, AnEndInTheMiddleIsNamed) {
    for (std::size_t size = 1; size < whole().size(); ++size) {
        SCOPED_TRACE(size);
        open();
        vehicle.sendBytes(firstOf(whole(), size));
        vehicle.close();
        EXPECT_THAT(lossOf(), HasSubstr(L"has closed the connection in the middle of a message"));
        reset();
    }
}

TEST_P(CutMessages, FourGigabytesAreNotAwaited) {
    open();
    const auto header =
        encode(Header{version2019, static_cast<std::uint16_t>(GetParam().type), 0xFFFFFFFF});
    vehicle.sendBytes({header.begin(), header.end()});
    EXPECT_THAT(lossOf(), HasSubstr(textOf(GetParam()) + L" announces 4294967295 bytes"));
    EXPECT_TRUE(vehicle.isLeft());
}

INSTANTIATE_TEST_SUITE_P(
    OfEachType, CutMessages,
    testing::Values(
        Sort{"RoutingActivation", PayloadType::RoutingActivationResponse,
             "0E 80 10 00 10 00 00 00 00", 9},
        Sort{"DiagnosticMessage", PayloadType::DiagnosticMessage, "00 11 0E 80 62 F1 90", 5},
        Sort{"Acknowledgement", PayloadType::DiagnosticMessageAck, "00 11 0E 80 00 22 F1", 5},
        Sort{"Nack", PayloadType::DiagnosticMessageNack, "00 11 0E 80 03 22 F1", 5},
        Sort{"HeaderNack", PayloadType::HeaderNack, "02", 1},
        Sort{"AliveCheck", PayloadType::AliveCheckRequest, "", 0},
        // These are for UDP, so that nobody looks into them here.
        Sort{"Announcement", PayloadType::VehicleAnnouncement, "56 49 4E", 0},
        Sort{"EntityStatus", PayloadType::EntityStatusResponse, "00 08 03 00 00 10 00", 0},
        Sort{"PowerMode", PayloadType::PowerModeResponse, "01", 0}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(DoipTester, WhatIsForUdpIsTraceableAndHarmlessHoweverItIsCut) {
    open();
    for (const auto type : {PayloadType::VehicleAnnouncement, PayloadType::EntityStatusResponse,
                            PayloadType::PowerModeResponse}) {
        vehicle.send(type, {});
        vehicle.send(type, hex("01 02"));
    }
    expectAlive();
    const std::lock_guard lock(mutex);
    ASSERT_EQ(notes.size(), 6U);
    EXPECT_THAT(notes[0], HasSubstr(L"vehicle announcement (0x0004)"));
    EXPECT_THAT(notes[5], HasSubstr(L"power mode response (0x4004)"));
}

TEST_F(CutActivation, APayloadThatIsTooShortIsNamed) {
    for (std::size_t size = 0; size < response.size(); ++size) {
        if (size == 9) { // Without the manufacturer's data.
            continue;
        }
        SCOPED_TRACE(size);
        beginOpening();
        vehicle.send(PayloadType::RoutingActivationResponse, firstOf(response, size));
        EXPECT_THAT(failure(), HasSubstr(L"routing activation response (0x0006) has " +
                                         std::to_wstring(size) + L" bytes, expected 9 or 13"));
        reset();
    }
}

TEST_F(CutActivation, AnEndInTheMiddleIsNamed) {
    const Bytes message = encode(PayloadType::RoutingActivationResponse, response);
    for (std::size_t size = 1; size < message.size(); ++size) {
        SCOPED_TRACE(size);
        beginOpening();
        vehicle.sendBytes(firstOf(message, size));
        vehicle.close();
        EXPECT_THAT(failure(), HasSubstr(L"has closed the connection in the middle of a message"));
        reset();
    }
}

TEST_F(CutActivation, FourGigabytesAreNotAwaited) {
    beginOpening();
    vehicle.sendBytes(hex("03 FC 00 06 FF FF FF FF"));
    EXPECT_THAT(failure(), HasSubstr(L"announces 4294967295 bytes"));
}

} // namespace Quarlen::Doip::Tests
