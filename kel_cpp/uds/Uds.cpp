#include "kel_cpp/uds/Uds.hpp"

#include <array>
#include <string_view>

namespace Quarlen::Kel_cpp::Uds {

namespace {

struct Name {
    std::uint8_t number;
    const wchar_t* text;
};

/// Spelled as ISO 14229-1 spells them.
constexpr std::array nrcNames{
    Name{0x10, L"generalReject"},
    Name{0x11, L"serviceNotSupported"},
    Name{0x12, L"subFunctionNotSupported"},
    Name{0x13, L"incorrectMessageLengthOrInvalidFormat"},
    Name{0x14, L"responseTooLong"},
    Name{0x21, L"busyRepeatRequest"},
    Name{0x22, L"conditionsNotCorrect"},
    Name{0x24, L"requestSequenceError"},
    Name{0x25, L"noResponseFromSubnetComponent"},
    Name{0x26, L"failurePreventsExecutionOfRequestedAction"},
    Name{0x31, L"requestOutOfRange"},
    Name{0x33, L"securityAccessDenied"},
    Name{0x34, L"authenticationRequired"},
    Name{0x35, L"invalidKey"},
    Name{0x36, L"exceededNumberOfAttempts"},
    Name{0x37, L"requiredTimeDelayNotExpired"},
    Name{0x70, L"uploadDownloadNotAccepted"},
    Name{0x71, L"transferDataSuspended"},
    Name{0x72, L"generalProgrammingFailure"},
    Name{0x73, L"wrongBlockSequenceCounter"},
    Name{0x78, L"requestCorrectlyReceivedResponsePending"},
    Name{0x7E, L"subFunctionNotSupportedInActiveSession"},
    Name{0x7F, L"serviceNotSupportedInActiveSession"},
    Name{0x92, L"voltageTooHigh"},
    Name{0x93, L"voltageTooLow"},
};

constexpr std::array serviceNames{
    Name{0x10, L"DiagnosticSessionControl"},
    Name{0x11, L"ECUReset"},
    Name{0x14, L"ClearDiagnosticInformation"},
    Name{0x19, L"ReadDTCInformation"},
    Name{0x22, L"ReadDataByIdentifier"},
    Name{0x23, L"ReadMemoryByAddress"},
    Name{0x27, L"SecurityAccess"},
    Name{0x28, L"CommunicationControl"},
    Name{0x2A, L"ReadDataByPeriodicIdentifier"},
    Name{0x2E, L"WriteDataByIdentifier"},
    Name{0x2F, L"InputOutputControlByIdentifier"},
    Name{0x31, L"RoutineControl"},
    Name{0x34, L"RequestDownload"},
    Name{0x35, L"RequestUpload"},
    Name{0x36, L"TransferData"},
    Name{0x37, L"RequestTransferExit"},
    Name{0x3D, L"WriteMemoryByAddress"},
    Name{0x3E, L"TesterPresent"},
    Name{0x85, L"ControlDTCSetting"},
};

std::wstring hexByte(std::uint8_t value) {
    constexpr std::wstring_view digits = L"0123456789ABCDEF";
    return {digits[value >> 4U], digits[value & 0x0FU]};
}

template <std::size_t count>
std::wstring nameWithNumber(const std::array<Name, count>& names, std::uint8_t number) {
    const wchar_t* text = L"unknown";
    for (const auto& name : names) {
        if (name.number == number) {
            text = name.text;
        }
    }
    return std::wstring(text) + L" (0x" + hexByte(number) + L")";
}

} // namespace

bool hasSubFunction(std::uint8_t serviceId) noexcept {
    switch (serviceId) {
    case 0x10:
    case 0x11:
    case 0x19:
    case 0x27:
    case 0x28:
    case 0x29:
    case 0x31:
    case 0x3E:
    case 0x83:
    case 0x85:
    case 0x86:
    case 0x87:
        return true;
    default:
        return false;
    }
}

bool suppressesPositiveResponse(const Bytes& request) noexcept {
    return request.size() >= 2 && hasSubFunction(request[0]) &&
           (request[1] & suppressPositiveResponseBit) != 0;
}

bool isNegative(const Bytes& response) noexcept {
    return response.size() >= 3 && response[0] == negativeResponseId;
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

std::wstring nrcText(std::uint8_t nrc) {
    return nameWithNumber(nrcNames, nrc);
}

std::wstring serviceText(std::uint8_t serviceId) {
    return nameWithNumber(serviceNames, serviceId);
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

} // namespace Quarlen::Kel_cpp::Uds
