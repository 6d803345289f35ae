#include "doip/Payloads.hpp"

#include <functional>
#include <ostream>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/HexBytes.hpp"

namespace Quarlen::Doip::Tests {
namespace {

using Quarlen::Tests::hex;
using testing::HasSubstr;
using testing::Optional;

constexpr EntityId someId = {0x02, 0x00, 0x00, 0x00, 0x00, 0x2A};
constexpr EntityId noId = {};
constexpr EntityId allOnes = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
const std::string someVin = "WKLDEMO0000000042";
const std::string vinBytes = "57 4B 4C 44 45 4D 4F 30 30 30 30 30 30 30 30 34 32";

/// A payload with everything that it may have, and how its kind is read and written again.
struct Kind {
    const char* name;
    PayloadType type;
    std::string bytes;
    std::function<Bytes(const Bytes&)> again;
    /// The lengths that it may have; more than the first one when `hasRest`.
    std::set<std::size_t> lengths;
    bool hasRest = false;
};

std::ostream& operator<<(std::ostream& stream, const Kind& kind) {
    return stream << kind.name;
}

class APayload : public testing::TestWithParam<Kind> {
protected:
    static bool mayHave(std::size_t length) {
        const auto& kind = GetParam();
        return kind.lengths.count(length) > 0 || (kind.hasRest && length > *kind.lengths.begin());
    }
};

/// Up to one byte too long; a byte more of a text or a message is part of it.
TEST_P(APayload, IsTakenInTheLengthsOfItsKindAndNoOther) {
    auto payload = hex(GetParam().bytes);
    payload.push_back(0x11);
    for (std::size_t length = 0; length <= payload.size(); ++length) {
        const Bytes cut(payload.begin(), payload.begin() + static_cast<std::ptrdiff_t>(length));
        try {
            EXPECT_EQ(hex(GetParam().again(cut)), hex(cut));
            EXPECT_TRUE(mayHave(length)) << length;
        } catch (const MalformedMessage& error) {
            EXPECT_FALSE(mayHave(length)) << length;
            EXPECT_EQ(error.code(), HeaderNackCode::InvalidPayloadLength);
            EXPECT_THAT(error.message(),
                        HasSubstr(payloadTypeText(static_cast<std::uint16_t>(GetParam().type))));
            EXPECT_THAT(error.message(), HasSubstr(L" " + std::to_wstring(length) + L" "));
            EXPECT_THAT(error.message(), HasSubstr(std::to_wstring(*GetParam().lengths.begin())));
        }
    }
}

template <auto decode>
Bytes encodedAgain(const Bytes& payload) {
    return encode(decode(payload));
}

INSTANTIATE_TEST_SUITE_P(
    All, APayload,
    testing::Values(Kind{"VehicleAnnouncement",
                         PayloadType::VehicleAnnouncement,
                         vinBytes + " 10 00 02 00 00 00 00 01 02 00 00 00 00 2A 10 00",
                         encodedAgain<decodeVehicleAnnouncement>,
                         {32, 33}},
                    Kind{"IdentificationWithVin",
                         PayloadType::VehicleIdentificationRequestWithVin,
                         vinBytes,
                         [](const Bytes& payload) { return encodeVin(decodeVin(payload)); },
                         {17}},
                    Kind{"IdentificationWithEid",
                         PayloadType::VehicleIdentificationRequestWithEid,
                         "02 00 00 00 00 2A",
                         [](const Bytes& payload) { return encodeEid(decodeEid(payload)); },
                         {6}},
                    Kind{"RoutingActivationRequest",
                         PayloadType::RoutingActivationRequest,
                         "0E 80 E0 00 00 00 00 12 34 56 78",
                         encodedAgain<decodeRoutingActivationRequest>,
                         {7, 11}},
                    Kind{"RoutingActivationResponse",
                         PayloadType::RoutingActivationResponse,
                         "0E 80 10 00 10 00 00 00 00 89 AB CD EF",
                         encodedAgain<decodeRoutingActivationResponse>,
                         {9, 13}},
                    Kind{"AliveCheckResponse",
                         PayloadType::AliveCheckResponse,
                         "0E 80",
                         [](const Bytes& payload) { return encodeAddress(decodeAddress(payload)); },
                         {2}},
                    Kind{"EntityStatus",
                         PayloadType::EntityStatusResponse,
                         "01 FF 02 80 00 00 01",
                         encodedAgain<decodeEntityStatus>,
                         {3, 7}},
                    Kind{"PowerMode",
                         PayloadType::PowerModeResponse,
                         "01",
                         [](const Bytes& payload) {
                             return encode(static_cast<PowerMode>(decodePowerMode(payload)));
                         },
                         {1}},
                    Kind{"DiagnosticMessage",
                         PayloadType::DiagnosticMessage,
                         "0E 80 00 10 22 F1 90",
                         encodedAgain<decodeDiagnosticMessage>,
                         {5},
                         true},
                    Kind{"DiagnosticAck",
                         PayloadType::DiagnosticMessageAck,
                         "00 10 0E 80 00 22 F1",
                         encodedAgain<decodeDiagnosticAck>,
                         {5},
                         true},
                    Kind{"DiagnosticNack",
                         PayloadType::DiagnosticMessageNack,
                         "00 10 0E 80 06 22 F1",
                         encodedAgain<decodeDiagnosticNack>,
                         {5},
                         true},
                    Kind{"HeaderNack",
                         PayloadType::HeaderNack,
                         "02",
                         [](const Bytes& payload) {
                             return encode(static_cast<HeaderNackCode>(decodeHeaderNack(payload)));
                         },
                         {1}}),
    [](const testing::TestParamInfo<Kind>& test) { return std::string(test.param.name); });

const std::string announcedEnd = " 12 34 02 00 00 00 00 2A AB CD EF 01 23 45 10";

/// ISO 13400-2:2019, table 5.
TEST(DoipVehicleAnnouncement, HasItsFieldsInTheOrderOfTheStandard) {
    const auto announcement = decodeVehicleAnnouncement(hex(vinBytes + announcedEnd + " 20"));

    EXPECT_EQ(announcement.vin, someVin);
    EXPECT_EQ(announcement.logicalAddress, 0x1234);
    EXPECT_EQ(announcement.eid, someId);
    EXPECT_THAT(announcement.gid, Optional(EntityId{0xAB, 0xCD, 0xEF, 0x01, 0x23, 0x45}));
    EXPECT_EQ(announcement.furtherAction, 0x10);
    EXPECT_THAT(announcement.syncStatus, Optional(0x20));
}

TEST(DoipVehicleAnnouncement, NeedNotTellOfSynchronisation) {
    EXPECT_EQ(decodeVehicleAnnouncement(hex(vinBytes + announcedEnd)).syncStatus, std::nullopt);
}

Bytes announcementWith(const Bytes& vin, const EntityId& gid) {
    Bytes payload = vin;
    const Bytes middle = hex("12 34 02 00 00 00 00 2A");
    payload.insert(payload.end(), middle.begin(), middle.end());
    payload.insert(payload.end(), gid.begin(), gid.end());
    payload.push_back(0x00);
    return payload;
}

TEST(DoipVehicleAnnouncement, HasNoVinWhenAllOfItsBytesSayNothing) {
    for (const std::uint8_t byte : hex("00 FF")) {
        EXPECT_EQ(decodeVehicleAnnouncement(announcementWith(Bytes(17, byte), someId)).vin, "");
    }
    Bytes almost(17, 0xFF);
    almost.back() = 0x00;
    EXPECT_EQ(decodeVehicleAnnouncement(announcementWith(almost, someId)).vin.size(), 16U);
}

TEST(DoipVehicleAnnouncement, HasNoGroupWhenAllOfItsBytesSayNothing) {
    for (const auto& gid : {noId, allOnes}) {
        EXPECT_EQ(decodeVehicleAnnouncement(announcementWith(Bytes(17, 0x41), gid)).gid,
                  std::nullopt);
    }
    for (const auto& gid :
         {EntityId{0, 0, 0, 0, 0, 1}, EntityId{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00}}) {
        EXPECT_THAT(decodeVehicleAnnouncement(announcementWith(Bytes(17, 0x41), gid)).gid,
                    Optional(gid));
    }
}

TEST(DoipVehicleAnnouncement, SaysNothingOfWhatItDoesNotKnow) {
    const auto payload = encode(VehicleAnnouncement{});

    EXPECT_EQ(payload, Bytes(32, 0x00));
    EXPECT_EQ(decodeVehicleAnnouncement(payload).vin, "");
    EXPECT_EQ(decodeVehicleAnnouncement(payload).gid, std::nullopt);
}

/// ISO 13400-2:2019, table 4.
TEST(DoipVin, IsFilledUpWhenItIsTooShort) {
    EXPECT_EQ(encodeVin(someVin), hex(vinBytes));
    EXPECT_EQ(encodeVin("WKL"), hex("57 4B 4C 00 00 00 00 00 00 00 00 00 00 00 00 00 00"));
    EXPECT_EQ(encodeVin(""), Bytes(vinLength, 0x00));
}

TEST(DoipVin, EndsWhereItIsFilledUp) {
    for (std::size_t length = 0; length <= vinLength; ++length) {
        const auto vin = someVin.substr(0, length);
        EXPECT_EQ(decodeVin(encodeVin(vin)), vin);
    }
}

/// ISO 13400-2:2019, table 46.
TEST(DoipRoutingActivationRequest, HasItsFieldsInTheOrderOfTheStandard) {
    const auto request = decodeRoutingActivationRequest(hex("0E 81 E0 00 00 00 00 12 34 56 78"));

    EXPECT_EQ(request.tester, 0x0E81);
    EXPECT_EQ(request.type, activationCentralSecurity);
    EXPECT_THAT(request.manufacturerData, Optional(0x12345678U));
    EXPECT_EQ(decodeRoutingActivationRequest(hex("0E 81 01 00 00 00 00")).manufacturerData,
              std::nullopt);
}

TEST(DoipRoutingActivationRequest, FillsWhatIsReservedWithZeros) {
    EXPECT_EQ(encode(RoutingActivationRequest{0x0E80}), hex("0E 80 00 00 00 00 00"));
    EXPECT_EQ(decodeRoutingActivationRequest(hex("0E 80 00 01 02 03 04")).tester, 0x0E80);
}

TEST(DoipRoutingActivationRequest, HasTheTypesOfTheStandard) {
    EXPECT_EQ((Bytes{activationDefault, activationRequiredByRegulation, activationCentralSecurity}),
              hex("00 01 E0"));
}

/// ISO 13400-2:2019, table 48.
TEST(DoipRoutingActivationResponse, HasItsFieldsInTheOrderOfTheStandard) {
    const auto response =
        decodeRoutingActivationResponse(hex("0E 81 10 02 06 00 00 00 00 89 AB CD EF"));

    EXPECT_EQ(response.tester, 0x0E81);
    EXPECT_EQ(response.entity, 0x1002);
    EXPECT_EQ(response.code, 0x06);
    EXPECT_THAT(response.manufacturerData, Optional(0x89ABCDEFU));
    EXPECT_EQ(decodeRoutingActivationResponse(hex("0E 81 10 02 06 00 00 00 00")).manufacturerData,
              std::nullopt);
}

/// ISO 13400-2:2019, table 11: 0x00 is a gateway, 0x01 a node.
TEST(DoipEntityStatus, HasItsFieldsInTheOrderOfTheStandard) {
    const auto status = decodeEntityStatus(hex("00 32 04 00 01 02 03"));

    EXPECT_TRUE(status.isGateway);
    EXPECT_EQ(status.maxSockets, 50);
    EXPECT_EQ(status.openSockets, 4);
    EXPECT_THAT(status.maxDataSize, Optional(0x00010203U));
}

TEST(DoipEntityStatus, MayBeThatOfANodeWithoutAnUpperBound) {
    const auto status = decodeEntityStatus(hex("01 01 00"));

    EXPECT_FALSE(status.isGateway);
    EXPECT_EQ(status.maxDataSize, std::nullopt);
    EXPECT_EQ(encode(status), hex("01 01 00"));
}

TEST(DoipDiagnosticMessage, HasSourceAndTargetBeforeTheData) {
    const auto message = decodeDiagnosticMessage(hex("0E 80 00 10 22 F1 90"));

    EXPECT_EQ(message.source, 0x0E80);
    EXPECT_EQ(message.target, 0x0010);
    EXPECT_EQ(message.data, hex("22 F1 90"));
}

TEST(DoipDiagnosticAck, ComesFromTheTargetAndMayRepeatTheMessage) {
    const auto ack = decodeDiagnosticAck(hex("00 10 0E 80 06 22 F1"));

    EXPECT_EQ(ack.source, 0x0010);
    EXPECT_EQ(ack.target, 0x0E80);
    EXPECT_EQ(ack.code, 0x06);
    EXPECT_EQ(ack.previous, hex("22 F1"));
    EXPECT_TRUE(decodeDiagnosticAck(hex("00 10 0E 80 00")).previous.empty());
}

TEST(DoipAddress, HasTheMostSignificantByteFirst) {
    EXPECT_EQ(encodeAddress(0x0E80), hex("0E 80"));
    EXPECT_EQ(decodeAddress(hex("12 34")), 0x1234);
}

TEST(DoipPowerMode, KeepsAByteThatIsReserved) {
    EXPECT_EQ(decodePowerMode(hex("7B")), 0x7B);
    EXPECT_EQ(encode(PowerMode::NotSupported), hex("02"));
}

TEST(DoipDefaults, AreThoseOfTheStandard) {
    EXPECT_EQ(defaultPort, 13400);
    EXPECT_EQ(vinLength, 17U);
    EXPECT_EQ(headerSize, 8U);
    EXPECT_EQ(Message{}.version, version2019);
}

} // namespace
} // namespace Quarlen::Doip::Tests
