#include "doip/Message.hpp"

#include <array>
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "doip/MalformedMessage.hpp"
#include "tests/support/HexBytes.hpp"

namespace Quarlen::Doip::Tests {
namespace {

using Quarlen::Tests::hex;

HeaderBytes headerOf(std::uint8_t first, std::uint8_t second) {
    return {first, second, 0x80, 0x01, 0x00, 0x00, 0x00, 0x05};
}

TEST(DoipMessage, KnowsTheVersionsOfTheStandard) {
    for (unsigned version = 0; version <= 0xFF; ++version) {
        EXPECT_EQ(isKnownVersion(static_cast<std::uint8_t>(version)), version >= 1 && version <= 4)
            << version;
    }
}

/// ISO 13400-2:2019, table 16, and its successor's.
TEST(DoipMessage, HasTheNumbersOfTheVersions) {
    EXPECT_EQ((Uds::Bytes{version2010, version2012, version2019, version2025, versionUnknown}),
              hex("01 02 03 04 FF"));
}

struct NamedType {
    PayloadType type;
    unsigned number;
    const wchar_t* text;
};

class PayloadTypeOfTheStandard : public testing::TestWithParam<NamedType> {};

TEST_P(PayloadTypeOfTheStandard, HasItsNumberAndName) {
    const auto& [type, number, text] = GetParam();
    EXPECT_EQ(static_cast<unsigned>(type), number);
    EXPECT_EQ(payloadTypeText(static_cast<std::uint16_t>(number)), text);
}

/// ISO 13400-2:2019, table 17.
INSTANTIATE_TEST_SUITE_P(
    All, PayloadTypeOfTheStandard,
    testing::Values(
        NamedType{PayloadType::HeaderNack, 0x0000, L"header negative acknowledgement (0x0000)"},
        NamedType{PayloadType::VehicleIdentificationRequest, 0x0001,
                  L"vehicle identification request (0x0001)"},
        NamedType{PayloadType::VehicleIdentificationRequestWithEid, 0x0002,
                  L"vehicle identification request with EID (0x0002)"},
        NamedType{PayloadType::VehicleIdentificationRequestWithVin, 0x0003,
                  L"vehicle identification request with VIN (0x0003)"},
        NamedType{PayloadType::VehicleAnnouncement, 0x0004, L"vehicle announcement (0x0004)"},
        NamedType{PayloadType::RoutingActivationRequest, 0x0005,
                  L"routing activation request (0x0005)"},
        NamedType{PayloadType::RoutingActivationResponse, 0x0006,
                  L"routing activation response (0x0006)"},
        NamedType{PayloadType::AliveCheckRequest, 0x0007, L"alive check request (0x0007)"},
        NamedType{PayloadType::AliveCheckResponse, 0x0008, L"alive check response (0x0008)"},
        NamedType{PayloadType::EntityStatusRequest, 0x4001, L"entity status request (0x4001)"},
        NamedType{PayloadType::EntityStatusResponse, 0x4002, L"entity status response (0x4002)"},
        NamedType{PayloadType::PowerModeRequest, 0x4003, L"power mode request (0x4003)"},
        NamedType{PayloadType::PowerModeResponse, 0x4004, L"power mode response (0x4004)"},
        NamedType{PayloadType::DiagnosticMessage, 0x8001, L"diagnostic message (0x8001)"},
        NamedType{PayloadType::DiagnosticMessageAck, 0x8002,
                  L"diagnostic message acknowledgement (0x8002)"},
        NamedType{PayloadType::DiagnosticMessageNack, 0x8003,
                  L"diagnostic message negative acknowledgement (0x8003)"}));

TEST(DoipMessage, NamesAnUnknownPayloadTypeByItsNumber) {
    for (const std::uint16_t type :
         std::to_array<std::uint16_t>({0x0009, 0x1234, 0x4000, 0x4005, 0x8000, 0x8004, 0xFFFF})) {
        EXPECT_THAT(payloadTypeText(type), testing::StartsWith(L"unknown payload type (0x"))
            << type;
    }
    EXPECT_EQ(payloadTypeText(0x1234), L"unknown payload type (0x1234)");
    EXPECT_EQ(payloadTypeText(0xABCD), L"unknown payload type (0xABCD)");
}

TEST(DoipHeader, HasTheMostSignificantByteFirst) {
    const auto bytes = encode(Header{version2019, 0x8001, 0x12345678});

    EXPECT_EQ(Bytes(bytes.begin(), bytes.end()), hex("03 FC 80 01 12 34 56 78"));
}

TEST(DoipHeader, IsDecodedToWhatWasEncoded) {
    for (unsigned version = 0; version <= 0xFF; ++version) {
        for (const std::uint16_t type :
             std::to_array<std::uint16_t>({0x0000, 0x0080, 0x1234, 0x8003, 0xFFFF})) {
            for (const std::uint32_t length :
                 {0U, 1U, 0x80U, 0x12345678U, std::numeric_limits<std::uint32_t>::max()}) {
                const Header header{static_cast<std::uint8_t>(version), type, length};
                const auto decoded = decodeHeader(encode(header));
                EXPECT_EQ(decoded.version, header.version);
                EXPECT_EQ(decoded.type, header.type);
                EXPECT_EQ(decoded.length, header.length);
            }
        }
    }
}

TEST(DoipHeader, IsRefusedWhenOneBitOfTheInverseDiffers) {
    for (unsigned version = 0; version <= 0xFF; ++version) {
        const auto inverse = version ^ 0xFFU;
        for (unsigned bit = 1; bit <= 0x80; bit <<= 1U) {
            const auto bytes = headerOf(static_cast<std::uint8_t>(version),
                                        static_cast<std::uint8_t>(inverse ^ bit));
            EXPECT_THROW((void)decodeHeader(bytes), MalformedMessage) << version << ' ' << bit;
        }
    }
}

TEST(DoipHeader, SaysWhatWasFoundInsteadOfAVersionAndItsInverse) {
    try {
        (void)decodeHeader(headerOf(0x03, 0xFB));
        FAIL() << "it was taken";
    } catch (const MalformedMessage& error) {
        EXPECT_EQ(error.code(), HeaderNackCode::IncorrectPattern);
        EXPECT_THAT(error.message(), testing::HasSubstr(L"03 FB"));
        EXPECT_THAT(error.message(), testing::HasSubstr(L"inverse"));
    }
}

TEST(DoipMessage, IsItsHeaderAndItsPayloadInOnePiece) {
    EXPECT_EQ(encode(PayloadType::DiagnosticMessage, hex("0E 80 00 10 3E 00")),
              hex("03 FC 80 01 00 00 00 06 0E 80 00 10 3E 00"));
    EXPECT_EQ(encode(PayloadType::VehicleIdentificationRequest, {}, versionUnknown),
              hex("FF 00 00 01 00 00 00 00"));
    EXPECT_EQ(encode(PayloadType::AliveCheckResponse, hex("0E 80"), version2012),
              hex("02 FD 00 08 00 00 00 02 0E 80"));
}

TEST(DoipMessage, IsOfOneType) {
    const Message message{version2019, 0x8002, {}};

    EXPECT_TRUE(message.is(PayloadType::DiagnosticMessageAck));
    EXPECT_FALSE(message.is(PayloadType::DiagnosticMessageNack));
    EXPECT_FALSE((Message{version2019, 0x8102, {}}.is(PayloadType::DiagnosticMessageAck)));
}

TEST(DoipMalformedMessage, HasItsCodeAndItsText) {
    const MalformedMessage error(HeaderNackCode::OutOfMemory, L"too much");

    EXPECT_EQ(error.code(), HeaderNackCode::OutOfMemory);
    EXPECT_EQ(error.message(), L"too much");
}

} // namespace
} // namespace Quarlen::Doip::Tests
