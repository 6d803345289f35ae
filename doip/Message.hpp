#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "uds/Uds.hpp"

/// Diagnostics over the Internet protocol, ISO 13400-2:2019: how a tester and a vehicle talk over
/// UDP and TCP. Each message is a header of eight bytes and a payload; what a payload says stands
/// in Payloads.hpp. Both sides of the network use these numbers: the client here and the vehicle of
/// `tools/kel_vehicle`. A message is a plain value, so any thread may use these functions.
namespace Quarlen::Doip {

using Uds::Bytes;

/// Port of UDP discovery and of TCP data (UDP_DISCOVERY, TCP_DATA).
inline constexpr int defaultPort = 13400;

/// Protocol versions (table 16).
inline constexpr std::uint8_t version2010 = 0x01;
inline constexpr std::uint8_t version2012 = 0x02;
inline constexpr std::uint8_t version2019 = 0x03;
inline constexpr std::uint8_t version2025 = 0x04;
/// Of a vehicle identification request from somebody who does not know the vehicle's version yet.
inline constexpr std::uint8_t versionUnknown = 0xFF;

/// True for the versions above but the unknown one.
[[nodiscard]] bool isKnownVersion(std::uint8_t version) noexcept;

/// Table 17.
enum class PayloadType : std::uint16_t {
    HeaderNack = 0x0000,
    VehicleIdentificationRequest = 0x0001,
    VehicleIdentificationRequestWithEid = 0x0002,
    VehicleIdentificationRequestWithVin = 0x0003,
    /// The response to any vehicle identification request, or the announcement.
    VehicleAnnouncement = 0x0004,
    RoutingActivationRequest = 0x0005,
    RoutingActivationResponse = 0x0006,
    AliveCheckRequest = 0x0007,
    AliveCheckResponse = 0x0008,
    EntityStatusRequest = 0x4001,
    EntityStatusResponse = 0x4002,
    PowerModeRequest = 0x4003,
    PowerModeResponse = 0x4004,
    DiagnosticMessage = 0x8001,
    DiagnosticMessageAck = 0x8002,
    DiagnosticMessageNack = 0x8003,
};

/// "diagnostic message (0x8001)", "unknown payload type (0x1234)".
[[nodiscard]] std::wstring payloadTypeText(std::uint16_t type);

/// Bytes of a header (table 15).
inline constexpr std::size_t headerSize = 8;
using HeaderBytes = std::array<std::uint8_t, headerSize>;

/// The header of a message; the inverse version is not kept.
struct Header {
    std::uint8_t version = version2019;
    /// Of `PayloadType`, or a number that no one here knows.
    std::uint16_t type = 0;
    /// Bytes of the payload.
    std::uint32_t length = 0;
};

[[nodiscard]] HeaderBytes encode(const Header& header) noexcept;

/// Throws `MalformedMessage` (code IncorrectPattern) when the second byte is not the inverse of the
/// first.
[[nodiscard]] Header decodeHeader(const HeaderBytes& bytes);

struct Message {
    std::uint8_t version = version2019;
    std::uint16_t type = 0;
    Bytes payload{};

    [[nodiscard]] bool is(PayloadType expected) const noexcept {
        return type == static_cast<std::uint16_t>(expected);
    }
};

/// Header and payload in one piece.
[[nodiscard]] Bytes encode(PayloadType type, const Bytes& payload,
                           std::uint8_t version = version2019);

} // namespace Quarlen::Doip
