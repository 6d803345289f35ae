#include "doip/Message.hpp"

#include "doip/MalformedMessage.hpp"

namespace Quarlen::Doip {

namespace {

const wchar_t* nameOf(PayloadType type) noexcept {
    switch (type) {
    case PayloadType::HeaderNack:
        return L"header negative acknowledgement";
    case PayloadType::VehicleIdentificationRequest:
        return L"vehicle identification request";
    case PayloadType::VehicleIdentificationRequestWithEid:
        return L"vehicle identification request with EID";
    case PayloadType::VehicleIdentificationRequestWithVin:
        return L"vehicle identification request with VIN";
    case PayloadType::VehicleAnnouncement:
        return L"vehicle announcement";
    case PayloadType::RoutingActivationRequest:
        return L"routing activation request";
    case PayloadType::RoutingActivationResponse:
        return L"routing activation response";
    case PayloadType::AliveCheckRequest:
        return L"alive check request";
    case PayloadType::AliveCheckResponse:
        return L"alive check response";
    case PayloadType::EntityStatusRequest:
        return L"entity status request";
    case PayloadType::EntityStatusResponse:
        return L"entity status response";
    case PayloadType::PowerModeRequest:
        return L"power mode request";
    case PayloadType::PowerModeResponse:
        return L"power mode response";
    case PayloadType::DiagnosticMessage:
        return L"diagnostic message";
    case PayloadType::DiagnosticMessageAck:
        return L"diagnostic message acknowledgement";
    case PayloadType::DiagnosticMessageNack:
        return L"diagnostic message negative acknowledgement";
    }
    return L"unknown payload type";
}

} // namespace

bool isKnownVersion(std::uint8_t version) noexcept {
    return version >= version2010 && version <= version2025;
}

std::wstring payloadTypeText(std::uint16_t type) {
    return nameOf(static_cast<PayloadType>(type)) + (L" (" + Uds::hexNumberText(type, 4)) + L")";
}

HeaderBytes encode(const Header& header) noexcept {
    HeaderBytes bytes{header.version, static_cast<std::uint8_t>(0xFFU - header.version)};
    const std::uint64_t rest = (std::uint64_t{header.type} << 32U) | header.length;
    for (std::size_t index = 2; index < headerSize; ++index) {
        bytes.at(index) =
            static_cast<std::uint8_t>((rest >> (8U * (headerSize - 1 - index))) & 0xFFU);
    }
    return bytes;
}

Header decodeHeader(const HeaderBytes& bytes) {
    if (bytes[0] + bytes[1] != 0xFF) {
        throw MalformedMessage(HeaderNackCode::IncorrectPattern,
                               L"a header begins with " + Uds::hexText({bytes[0], bytes[1]}) +
                                   L", expected a version and its inverse");
    }
    Header header{bytes[0], static_cast<std::uint16_t>((bytes[2] << 8U) | bytes[3])};
    for (std::size_t index = 4; index < headerSize; ++index) {
        header.length = (header.length << 8U) | bytes.at(index);
    }
    return header;
}

Bytes encode(PayloadType type, const Bytes& payload, std::uint8_t version) {
    const HeaderBytes header = encode(Header{version, static_cast<std::uint16_t>(type),
                                             static_cast<std::uint32_t>(payload.size())});
    Bytes whole;
    whole.reserve(headerSize + payload.size());
    whole.insert(whole.end(), header.begin(), header.end());
    whole.insert(whole.end(), payload.begin(), payload.end());
    return whole;
}

} // namespace Quarlen::Doip
