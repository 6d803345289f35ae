#include "uds/Uds.hpp"

#include <string_view>

namespace Quarlen::Uds {

namespace {

constexpr std::wstring_view hexDigits = L"0123456789ABCDEF";

std::wstring hexByte(std::uint8_t value) {
    return {hexDigits[value >> 4U], hexDigits[value & 0x0FU]};
}

} // namespace

bool hasSubFunction(std::uint8_t serviceId) noexcept {
    switch (static_cast<Service>(serviceId)) {
    case Service::DiagnosticSessionControl:
    case Service::EcuReset:
    case Service::ReadDtcInformation:
    case Service::SecurityAccess:
    case Service::CommunicationControl:
    case Service::Authentication:
    case Service::DynamicallyDefineDataIdentifier:
    case Service::RoutineControl:
    case Service::TesterPresent:
    case Service::AccessTimingParameter:
    case Service::ControlDtcSetting:
    case Service::ResponseOnEvent:
    case Service::LinkControl:
        return true;
    default:
        return false;
    }
}

const Bytes& quietTesterPresent() {
    static const Bytes request{static_cast<std::uint8_t>(Service::TesterPresent),
                               suppressPositiveResponseBit};
    return request;
}

bool suppressesPositiveResponse(const Bytes& request) noexcept {
    return request.size() >= 2 && hasSubFunction(request[0]) &&
           (request[1] & suppressPositiveResponseBit) != 0;
}

bool isNegative(const Bytes& response) noexcept {
    return response.size() >= 3 && response[0] == negativeResponseId;
}

bool isRefusal(const Bytes& response, Nrc code) noexcept {
    return isNegative(response) && response[2] == static_cast<std::uint8_t>(code);
}

void appendNumber(Bytes& message, std::uint64_t value, std::size_t count) {
    for (std::size_t rest = count; rest > 0; --rest) {
        message.push_back(static_cast<std::uint8_t>(value >> (8U * (rest - 1))));
    }
}

std::uint64_t numberAt(const Bytes& message, std::size_t offset, std::size_t count) noexcept {
    std::uint64_t value = 0;
    for (std::size_t index = 0; index < count; ++index) {
        value = (value << 8U) | message[offset + index];
    }
    return value;
}

std::wstring hexText(const Bytes& bytes) {
    std::wstring text;
    text.reserve(bytes.size() * 3);
    for (const auto byte : bytes) {
        if (!text.empty()) {
            text += L' ';
        }
        text += hexByte(byte);
    }
    return text;
}

std::wstring hexNumberText(std::uint64_t value, std::size_t digits) {
    std::wstring text = L"0x";
    for (std::size_t rest = digits; rest > 0; --rest) {
        text += hexDigits[(value >> (4U * (rest - 1))) & 0x0FU];
    }
    return text;
}

} // namespace Quarlen::Uds
