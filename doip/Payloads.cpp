#include "doip/Payloads.hpp"

#include <algorithm>
#include <initializer_list>

namespace Quarlen::Doip {

namespace {

constexpr std::size_t idSize = 6;
constexpr std::size_t manufacturerDataSize = 4;

/// `sizes` are those that the payload may have.
void checkSize(const Bytes& payload, PayloadType type, std::initializer_list<std::size_t> sizes) {
    if (std::find(sizes.begin(), sizes.end(), payload.size()) != sizes.end()) {
        return;
    }
    std::wstring expected;
    for (const std::size_t size : sizes) {
        expected += (expected.empty() ? L"" : L" or ") + std::to_wstring(size);
    }
    throw MalformedMessage(HeaderNackCode::InvalidPayloadLength,
                           payloadTypeText(static_cast<std::uint16_t>(type)) + L" has " +
                               std::to_wstring(payload.size()) + L" bytes, expected " + expected);
}

void checkLeast(const Bytes& payload, PayloadType type, std::size_t least) {
    if (payload.size() < least) {
        throw MalformedMessage(HeaderNackCode::InvalidPayloadLength,
                               payloadTypeText(static_cast<std::uint16_t>(type)) + L" has " +
                                   std::to_wstring(payload.size()) + L" bytes, expected at least " +
                                   std::to_wstring(least));
    }
}

std::uint16_t addressAt(const Bytes& payload, std::size_t offset) {
    return static_cast<std::uint16_t>(Uds::numberAt(payload, offset, 2));
}

std::uint32_t wordAt(const Bytes& payload, std::size_t offset) {
    return static_cast<std::uint32_t>(Uds::numberAt(payload, offset, 4));
}

Bytes restFrom(const Bytes& payload, std::size_t offset) {
    return {payload.begin() + static_cast<std::ptrdiff_t>(offset), payload.end()};
}

EntityId idAt(const Bytes& payload, std::size_t offset) {
    EntityId id{};
    std::copy_n(payload.begin() + static_cast<std::ptrdiff_t>(offset), idSize, id.begin());
    return id;
}

/// Bytes that are all 0x00 or all 0xFF say that there is no value (table 1).
template <class Range>
bool isUnset(const Range& bytes) {
    const auto first = *bytes.begin();
    return (first == 0x00 || first == 0xFF) &&
           std::all_of(bytes.begin(), bytes.end(), [&](auto byte) { return byte == first; });
}

void appendId(Bytes& payload, const std::optional<EntityId>& id) {
    const EntityId bytes = id.value_or(EntityId{});
    payload.insert(payload.end(), bytes.begin(), bytes.end());
}

std::string vinAt(const Bytes& payload) {
    const Bytes bytes(payload.begin(), payload.begin() + vinLength);
    if (isUnset(bytes)) {
        return {};
    }
    return {bytes.begin(), std::find(bytes.begin(), bytes.end(), std::uint8_t{0})};
}

DiagnosticAck acknowledgement(const Bytes& payload, PayloadType type) {
    checkLeast(payload, type, addressesSize + 1);
    return {addressAt(payload, 0), addressAt(payload, 2), payload[addressesSize],
            restFrom(payload, addressesSize + 1)};
}

} // namespace

Bytes encode(const VehicleAnnouncement& announcement) {
    Bytes payload = encodeVin(announcement.vin);
    Uds::appendNumber(payload, announcement.logicalAddress, 2);
    appendId(payload, announcement.eid);
    appendId(payload, announcement.gid);
    payload.push_back(announcement.furtherAction);
    if (announcement.syncStatus) {
        payload.push_back(*announcement.syncStatus);
    }
    return payload;
}

VehicleAnnouncement decodeVehicleAnnouncement(const Bytes& payload) {
    constexpr std::size_t size = vinLength + 2 + idSize + idSize + 1;
    checkSize(payload, PayloadType::VehicleAnnouncement, {size, size + 1});
    VehicleAnnouncement announcement;
    announcement.vin = vinAt(payload);
    announcement.logicalAddress = addressAt(payload, vinLength);
    announcement.eid = idAt(payload, vinLength + 2);
    const EntityId gid = idAt(payload, vinLength + 2 + idSize);
    if (!isUnset(gid)) {
        announcement.gid = gid;
    }
    announcement.furtherAction = payload[size - 1];
    if (payload.size() > size) {
        announcement.syncStatus = payload[size];
    }
    return announcement;
}

Bytes encodeVin(const std::string& vin) {
    Bytes payload(vin.begin(),
                  vin.begin() + static_cast<std::ptrdiff_t>(std::min(vin.size(), vinLength)));
    payload.resize(vinLength);
    return payload;
}

std::string decodeVin(const Bytes& payload) {
    checkSize(payload, PayloadType::VehicleIdentificationRequestWithVin, {vinLength});
    return vinAt(payload);
}

Bytes encodeEid(const EntityId& eid) {
    return {eid.begin(), eid.end()};
}

EntityId decodeEid(const Bytes& payload) {
    checkSize(payload, PayloadType::VehicleIdentificationRequestWithEid, {idSize});
    return idAt(payload, 0);
}

Bytes encode(const RoutingActivationRequest& request) {
    Bytes payload;
    Uds::appendNumber(payload, request.tester, 2);
    payload.push_back(request.type);
    // Reserved by the standard.
    Uds::appendNumber(payload, 0, 4);
    if (request.manufacturerData) {
        Uds::appendNumber(payload, *request.manufacturerData, manufacturerDataSize);
    }
    return payload;
}

RoutingActivationRequest decodeRoutingActivationRequest(const Bytes& payload) {
    constexpr std::size_t size = 7;
    checkSize(payload, PayloadType::RoutingActivationRequest, {size, size + manufacturerDataSize});
    RoutingActivationRequest request{addressAt(payload, 0), payload[2]};
    if (payload.size() > size) {
        request.manufacturerData = wordAt(payload, size);
    }
    return request;
}

Bytes encode(const RoutingActivationResponse& response) {
    Bytes payload;
    Uds::appendNumber(payload, response.tester, 2);
    Uds::appendNumber(payload, response.entity, 2);
    payload.push_back(response.code);
    Uds::appendNumber(payload, 0, 4);
    if (response.manufacturerData) {
        Uds::appendNumber(payload, *response.manufacturerData, manufacturerDataSize);
    }
    return payload;
}

RoutingActivationResponse decodeRoutingActivationResponse(const Bytes& payload) {
    constexpr std::size_t size = 9;
    checkSize(payload, PayloadType::RoutingActivationResponse, {size, size + manufacturerDataSize});
    RoutingActivationResponse response{addressAt(payload, 0), addressAt(payload, 2), payload[4]};
    if (payload.size() > size) {
        response.manufacturerData = wordAt(payload, size);
    }
    return response;
}

Bytes encodeAddress(std::uint16_t address) {
    Bytes payload;
    Uds::appendNumber(payload, address, 2);
    return payload;
}

std::uint16_t decodeAddress(const Bytes& payload) {
    checkSize(payload, PayloadType::AliveCheckResponse, {2});
    return addressAt(payload, 0);
}

Bytes encode(const EntityStatus& status) {
    Bytes payload{static_cast<std::uint8_t>(status.isGateway ? 0x00 : 0x01), status.maxSockets,
                  status.openSockets};
    if (status.maxDataSize) {
        Uds::appendNumber(payload, *status.maxDataSize, 4);
    }
    return payload;
}

EntityStatus decodeEntityStatus(const Bytes& payload) {
    constexpr std::size_t size = 3;
    checkSize(payload, PayloadType::EntityStatusResponse, {size, size + 4});
    EntityStatus status{payload[0] == 0x00, payload[1], payload[2]};
    if (payload.size() > size) {
        status.maxDataSize = wordAt(payload, size);
    }
    return status;
}

Bytes encode(PowerMode mode) {
    return {static_cast<std::uint8_t>(mode)};
}

std::uint8_t decodePowerMode(const Bytes& payload) {
    checkSize(payload, PayloadType::PowerModeResponse, {1});
    return payload[0];
}

Bytes encode(const DiagnosticMessage& message) {
    Bytes payload;
    payload.reserve(addressesSize + message.data.size());
    Uds::appendNumber(payload, message.source, 2);
    Uds::appendNumber(payload, message.target, 2);
    payload.insert(payload.end(), message.data.begin(), message.data.end());
    return payload;
}

DiagnosticMessage decodeDiagnosticMessage(const Bytes& payload) {
    checkLeast(payload, PayloadType::DiagnosticMessage, addressesSize + 1);
    return {addressAt(payload, 0), addressAt(payload, 2), restFrom(payload, addressesSize)};
}

Bytes encode(const DiagnosticAck& ack) {
    Bytes payload;
    Uds::appendNumber(payload, ack.source, 2);
    Uds::appendNumber(payload, ack.target, 2);
    payload.push_back(ack.code);
    payload.insert(payload.end(), ack.previous.begin(), ack.previous.end());
    return payload;
}

DiagnosticAck decodeDiagnosticAck(const Bytes& payload) {
    return acknowledgement(payload, PayloadType::DiagnosticMessageAck);
}

DiagnosticAck decodeDiagnosticNack(const Bytes& payload) {
    return acknowledgement(payload, PayloadType::DiagnosticMessageNack);
}

Bytes encode(HeaderNackCode code) {
    return {static_cast<std::uint8_t>(code)};
}

std::uint8_t decodeHeaderNack(const Bytes& payload) {
    checkSize(payload, PayloadType::HeaderNack, {1});
    return payload[0];
}

} // namespace Quarlen::Doip
