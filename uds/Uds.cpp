#include "uds/Uds.hpp"

#include <array>
#include <string_view>

namespace Quarlen::Uds {

namespace {

template <class Number>
struct Name {
    Number number;
    const wchar_t* text;
};
template <class Number>
Name(Number, const wchar_t*) -> Name<Number>;

/// The names are spelled as in ISO 14229-1.
constexpr std::array nrcNames{
    Name{Nrc::GeneralReject, L"generalReject"},
    Name{Nrc::ServiceNotSupported, L"serviceNotSupported"},
    Name{Nrc::SubFunctionNotSupported, L"subFunctionNotSupported"},
    Name{Nrc::IncorrectMessageLengthOrInvalidFormat, L"incorrectMessageLengthOrInvalidFormat"},
    Name{Nrc::ResponseTooLong, L"responseTooLong"},
    Name{Nrc::BusyRepeatRequest, L"busyRepeatRequest"},
    Name{Nrc::ConditionsNotCorrect, L"conditionsNotCorrect"},
    Name{Nrc::RequestSequenceError, L"requestSequenceError"},
    Name{Nrc::NoResponseFromSubnetComponent, L"noResponseFromSubnetComponent"},
    Name{Nrc::FailurePreventsExecutionOfRequestedAction,
         L"failurePreventsExecutionOfRequestedAction"},
    Name{Nrc::RequestOutOfRange, L"requestOutOfRange"},
    Name{Nrc::SecurityAccessDenied, L"securityAccessDenied"},
    Name{Nrc::AuthenticationRequired, L"authenticationRequired"},
    Name{Nrc::InvalidKey, L"invalidKey"},
    Name{Nrc::ExceededNumberOfAttempts, L"exceededNumberOfAttempts"},
    Name{Nrc::RequiredTimeDelayNotExpired, L"requiredTimeDelayNotExpired"},
    Name{Nrc::UploadDownloadNotAccepted, L"uploadDownloadNotAccepted"},
    Name{Nrc::TransferDataSuspended, L"transferDataSuspended"},
    Name{Nrc::GeneralProgrammingFailure, L"generalProgrammingFailure"},
    Name{Nrc::WrongBlockSequenceCounter, L"wrongBlockSequenceCounter"},
    Name{Nrc::ResponsePending, L"requestCorrectlyReceivedResponsePending"},
    Name{Nrc::SubFunctionNotSupportedInActiveSession, L"subFunctionNotSupportedInActiveSession"},
    Name{Nrc::ServiceNotSupportedInActiveSession, L"serviceNotSupportedInActiveSession"},
    Name{Nrc::VoltageTooHigh, L"voltageTooHigh"},
    Name{Nrc::VoltageTooLow, L"voltageTooLow"},
};

constexpr std::array serviceNames{
    Name{Service::DiagnosticSessionControl, L"DiagnosticSessionControl"},
    Name{Service::EcuReset, L"ECUReset"},
    Name{Service::ClearDiagnosticInformation, L"ClearDiagnosticInformation"},
    Name{Service::ReadDtcInformation, L"ReadDTCInformation"},
    Name{Service::ReadDataByIdentifier, L"ReadDataByIdentifier"},
    Name{Service::ReadMemoryByAddress, L"ReadMemoryByAddress"},
    Name{Service::SecurityAccess, L"SecurityAccess"},
    Name{Service::CommunicationControl, L"CommunicationControl"},
    Name{Service::ReadDataByPeriodicIdentifier, L"ReadDataByPeriodicIdentifier"},
    Name{Service::WriteDataByIdentifier, L"WriteDataByIdentifier"},
    Name{Service::InputOutputControlByIdentifier, L"InputOutputControlByIdentifier"},
    Name{Service::RoutineControl, L"RoutineControl"},
    Name{Service::RequestDownload, L"RequestDownload"},
    Name{Service::RequestUpload, L"RequestUpload"},
    Name{Service::TransferData, L"TransferData"},
    Name{Service::RequestTransferExit, L"RequestTransferExit"},
    Name{Service::WriteMemoryByAddress, L"WriteMemoryByAddress"},
    Name{Service::TesterPresent, L"TesterPresent"},
    Name{Service::ControlDtcSetting, L"ControlDTCSetting"},
};

std::wstring hexByte(std::uint8_t value) {
    constexpr std::wstring_view digits = L"0123456789ABCDEF";
    return {digits[value >> 4U], digits[value & 0x0FU]};
}

template <class Number, std::size_t count>
std::wstring nameWithNumber(const std::array<Name<Number>, count>& names, std::uint8_t number) {
    const wchar_t* text = L"unknown";
    for (const auto& name : names) {
        if (name.number == static_cast<Number>(number)) {
            text = name.text;
        }
    }
    return std::wstring(text) + L" (0x" + hexByte(number) + L")";
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

} // namespace Quarlen::Uds
