#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "doip/MalformedMessage.hpp"
#include "doip/Message.hpp"

/// What the payloads of ISO 13400-2:2019 say. Each `encode` gives the payload without its header;
/// each `decode…` takes one and throws `MalformedMessage` (code InvalidPayloadLength) when it is
/// shorter or longer than its kind may be.
namespace Quarlen::Doip {

/// Entity and group identifier: often a hardware address (table 1).
using EntityId = std::array<std::uint8_t, 6>;

/// Logical addresses of testers: client entities (table 13).
inline constexpr std::uint16_t firstTesterAddress = 0x0E00;
inline constexpr std::uint16_t lastTesterAddress = 0x0FFF;

/// The VIN has 17 characters (ISO 3779).
inline constexpr std::size_t vinLength = 17;

/// "0x0E80".
[[nodiscard]] std::wstring addressText(std::uint16_t logicalAddress);
/// "02:00:00:00:00:2A".
[[nodiscard]] std::wstring entityIdText(const EntityId& id);
/// The inverse; nothing for a text that is not six pairs of hexadecimal digits between colons.
[[nodiscard]] std::optional<EntityId> entityIdFrom(const std::wstring& text);

/// Vehicle announcement or identification response (table 5).
struct VehicleAnnouncement {
    /// Empty when the entity does not know it (all bytes 0x00 or 0xFF).
    std::string vin{};
    std::uint16_t logicalAddress = 0;
    EntityId eid{};
    /// Nothing when the vehicle has no group identifier yet (all bytes 0x00 or 0xFF).
    std::optional<EntityId> gid{};
    /// 0x00 none, 0x10 routing activation required to perform central security (table 6).
    std::uint8_t furtherAction = 0;
    /// 0x00 synchronised, 0x10 not (table 7); entities may leave it out.
    std::optional<std::uint8_t> syncStatus{};
};
/// "none (0x00)".
[[nodiscard]] std::wstring furtherActionText(std::uint8_t action);
[[nodiscard]] Bytes encode(const VehicleAnnouncement& announcement);
[[nodiscard]] VehicleAnnouncement decodeVehicleAnnouncement(const Bytes& payload);

/// Payload of VehicleIdentificationRequestWithVin (table 4): shorter texts are filled with 0x00.
[[nodiscard]] Bytes encodeVin(const std::string& vin);
[[nodiscard]] std::string decodeVin(const Bytes& payload);
/// Payload of VehicleIdentificationRequestWithEid (table 3).
[[nodiscard]] Bytes encodeEid(const EntityId& eid);
[[nodiscard]] EntityId decodeEid(const Bytes& payload);

/// Routing activation types (table 47).
inline constexpr std::uint8_t activationDefault = 0x00;
inline constexpr std::uint8_t activationRequiredByRegulation = 0x01;
inline constexpr std::uint8_t activationCentralSecurity = 0xE0;

struct RoutingActivationRequest {
    std::uint16_t tester = 0;
    std::uint8_t type = activationDefault;
    /// The vehicle manufacturer's own four bytes, where they are used.
    std::optional<std::uint32_t> manufacturerData{};
};
[[nodiscard]] Bytes encode(const RoutingActivationRequest& request);
[[nodiscard]] RoutingActivationRequest decodeRoutingActivationRequest(const Bytes& payload);

/// Routing activation response codes (table 49); the other ones are reserved or the manufacturer's.
enum class RoutingCode : std::uint8_t {
    UnknownSourceAddress = 0x00,
    NoFreeSocket = 0x01,
    OtherSourceAddressOnSocket = 0x02,
    SourceAddressInUse = 0x03,
    AuthenticationMissing = 0x04,
    ConfirmationRejected = 0x05,
    UnsupportedActivationType = 0x06,
    SecureConnectionRequired = 0x07,
    Activated = 0x10,
    ConfirmationRequired = 0x11,
};
/// "the source address is in use on another socket (0x03)".
[[nodiscard]] std::wstring routingCodeText(std::uint8_t code);

struct RoutingActivationResponse {
    std::uint16_t tester = 0;
    std::uint16_t entity = 0;
    /// Of `RoutingCode`, or another one.
    std::uint8_t code = 0;
    std::optional<std::uint32_t> manufacturerData{};

    /// Another response follows once somebody in the vehicle has decided.
    [[nodiscard]] bool mustBeConfirmed() const noexcept {
        return code == static_cast<std::uint8_t>(RoutingCode::ConfirmationRequired);
    }
};
[[nodiscard]] Bytes encode(const RoutingActivationResponse& response);
[[nodiscard]] RoutingActivationResponse decodeRoutingActivationResponse(const Bytes& payload);

/// Payload of AliveCheckResponse: the tester's address.
[[nodiscard]] Bytes encodeAddress(std::uint16_t address);
[[nodiscard]] std::uint16_t decodeAddress(const Bytes& payload);

/// Table 11.
struct EntityStatus {
    bool isGateway = true;
    std::uint8_t maxSockets = 0;
    std::uint8_t openSockets = 0;
    /// The largest payload that the entity takes; entities may leave it out.
    std::optional<std::uint32_t> maxDataSize{};
};
[[nodiscard]] Bytes encode(const EntityStatus& status);
[[nodiscard]] EntityStatus decodeEntityStatus(const Bytes& payload);

/// Diagnostic power mode (table 9).
enum class PowerMode : std::uint8_t { NotReady = 0x00, Ready = 0x01, NotSupported = 0x02 };
[[nodiscard]] Bytes encode(PowerMode mode);
/// The byte as it came: a reserved one is none of `PowerMode`.
[[nodiscard]] std::uint8_t decodePowerMode(const Bytes& payload);
/// "not ready (0x00)".
[[nodiscard]] std::wstring powerModeText(std::uint8_t mode);

/// Source and target address, then the UDS message (table 21).
struct DiagnosticMessage {
    std::uint16_t source = 0;
    std::uint16_t target = 0;
    Bytes data{};
};
/// Bytes of the two addresses.
inline constexpr std::size_t addressesSize = 4;
[[nodiscard]] Bytes encode(const DiagnosticMessage& message);
/// At least one byte of data.
[[nodiscard]] DiagnosticMessage decodeDiagnosticMessage(const Bytes& payload);

/// Negative acknowledge codes of a diagnostic message (table 28).
enum class DiagnosticNackCode : std::uint8_t {
    InvalidSourceAddress = 0x02,
    UnknownTargetAddress = 0x03,
    MessageTooLarge = 0x04,
    OutOfMemory = 0x05,
    TargetUnreachable = 0x06,
    UnknownNetwork = 0x07,
    TransportProtocolError = 0x08,
};
/// "target unreachable (0x06)".
[[nodiscard]] std::wstring diagnosticNackText(std::uint8_t code);
/// "incorrect pattern format (0x00)".
[[nodiscard]] std::wstring headerNackText(std::uint8_t code);

/// Positive or negative acknowledgement of a diagnostic message (tables 23 and 26). It comes from
/// the target of the message, which is its `source`.
struct DiagnosticAck {
    std::uint16_t source = 0;
    std::uint16_t target = 0;
    /// 0x00 in a positive one, of `DiagnosticNackCode` in a negative one.
    std::uint8_t code = 0;
    /// What came back of the message; may be empty.
    Bytes previous{};
};
[[nodiscard]] Bytes encode(const DiagnosticAck& ack);
[[nodiscard]] DiagnosticAck decodeDiagnosticAck(const Bytes& payload);
/// The same of a negative one.
[[nodiscard]] DiagnosticAck decodeDiagnosticNack(const Bytes& payload);

/// Payload of HeaderNack: its code.
[[nodiscard]] Bytes encode(HeaderNackCode code);
[[nodiscard]] std::uint8_t decodeHeaderNack(const Bytes& payload);

} // namespace Quarlen::Doip
