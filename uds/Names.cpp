#include <algorithm>
#include <array>
#include <cstddef>

#include "uds/Uds.hpp"

namespace Quarlen::Uds {

namespace {

/// The name of one number or of all from `first` to `last`.
struct NamedRange {
    std::uint8_t first;
    std::uint8_t last;
    const wchar_t* text;
};

/// Annex A.1, spelled as its mnemonics are.
constexpr auto nrcNames = std::to_array<NamedRange>({
    {0x00, 0x00, L"positiveResponse"},
    {0x01, 0x0F, L"ISO SAE reserved"},
    {0x10, 0x10, L"generalReject"},
    {0x11, 0x11, L"serviceNotSupported"},
    {0x12, 0x12, L"subFunctionNotSupported"},
    {0x13, 0x13, L"incorrectMessageLengthOrInvalidFormat"},
    {0x14, 0x14, L"responseTooLong"},
    {0x15, 0x20, L"ISO SAE reserved"},
    {0x21, 0x21, L"busyRepeatRequest"},
    {0x22, 0x22, L"conditionsNotCorrect"},
    {0x23, 0x23, L"ISO SAE reserved"},
    {0x24, 0x24, L"requestSequenceError"},
    {0x25, 0x25, L"noResponseFromSubnetComponent"},
    {0x26, 0x26, L"failurePreventsExecutionOfRequestedAction"},
    {0x27, 0x30, L"ISO SAE reserved"},
    {0x31, 0x31, L"requestOutOfRange"},
    {0x32, 0x32, L"ISO SAE reserved"},
    {0x33, 0x33, L"securityAccessDenied"},
    {0x34, 0x34, L"authenticationRequired"},
    {0x35, 0x35, L"invalidKey"},
    {0x36, 0x36, L"exceededNumberOfAttempts"},
    {0x37, 0x37, L"requiredTimeDelayNotExpired"},
    {0x38, 0x38, L"secureDataTransmissionRequired"},
    {0x39, 0x39, L"secureDataTransmissionNotAllowed"},
    {0x3A, 0x3A, L"secureDataVerificationFailed"},
    {0x3B, 0x4F, L"ISO SAE reserved"},
    {0x50, 0x50, L"certificateVerificationFailedInvalidTimePeriod"},
    {0x51, 0x51, L"certificateVerificationFailedInvalidSignature"},
    {0x52, 0x52, L"certificateVerificationFailedInvalidChainOfTrust"},
    {0x53, 0x53, L"certificateVerificationFailedInvalidType"},
    {0x54, 0x54, L"certificateVerificationFailedInvalidFormat"},
    {0x55, 0x55, L"certificateVerificationFailedInvalidContent"},
    {0x56, 0x56, L"certificateVerificationFailedInvalidScope"},
    {0x57, 0x57, L"certificateVerificationFailedInvalidCertificate"},
    {0x58, 0x58, L"ownershipVerificationFailed"},
    {0x59, 0x59, L"challengeCalculationFailed"},
    {0x5A, 0x5A, L"settingAccessRightsFailed"},
    {0x5B, 0x5B, L"sessionKeyCreationDerivationFailed"},
    {0x5C, 0x5C, L"configurationDataUsageFailed"},
    {0x5D, 0x5D, L"deAuthenticationFailed"},
    {0x5E, 0x6F, L"ISO SAE reserved"},
    {0x70, 0x70, L"uploadDownloadNotAccepted"},
    {0x71, 0x71, L"transferDataSuspended"},
    {0x72, 0x72, L"generalProgrammingFailure"},
    {0x73, 0x73, L"wrongBlockSequenceCounter"},
    {0x74, 0x77, L"ISO SAE reserved"},
    {0x78, 0x78, L"requestCorrectlyReceivedResponsePending"},
    {0x79, 0x7D, L"ISO SAE reserved"},
    {0x7E, 0x7E, L"subFunctionNotSupportedInActiveSession"},
    {0x7F, 0x7F, L"serviceNotSupportedInActiveSession"},
    {0x80, 0x80, L"ISO SAE reserved"},
    {0x81, 0x81, L"rpmTooHigh"},
    {0x82, 0x82, L"rpmTooLow"},
    {0x83, 0x83, L"engineIsRunning"},
    {0x84, 0x84, L"engineIsNotRunning"},
    {0x85, 0x85, L"engineRunTimeTooLow"},
    {0x86, 0x86, L"temperatureTooHigh"},
    {0x87, 0x87, L"temperatureTooLow"},
    {0x88, 0x88, L"vehicleSpeedTooHigh"},
    {0x89, 0x89, L"vehicleSpeedTooLow"},
    {0x8A, 0x8A, L"throttle/PedalTooHigh"},
    {0x8B, 0x8B, L"throttle/PedalTooLow"},
    {0x8C, 0x8C, L"transmissionRangeNotInNeutral"},
    {0x8D, 0x8D, L"transmissionRangeNotInGear"},
    {0x8E, 0x8E, L"ISO SAE reserved"},
    {0x8F, 0x8F, L"brakeSwitch(es)NotClosed"},
    {0x90, 0x90, L"shifterLeverNotInPark"},
    {0x91, 0x91, L"torqueConverterClutchLocked"},
    {0x92, 0x92, L"voltageTooHigh"},
    {0x93, 0x93, L"voltageTooLow"},
    {0x94, 0x94, L"resourceTemporarilyNotAvailable"},
    {0x95, 0xEF, L"reservedForSpecificConditionsNotCorrect"},
    {0xF0, 0xFE, L"vehicleManufacturerSpecificConditionsNotCorrect"},
    {0xFF, 0xFF, L"ISO SAE reserved"},
});

/// Clause 8, table 2. AccessTimingParameter is of the edition of 2013.
constexpr auto serviceNames = std::to_array<NamedRange>({
    {0x10, 0x10, L"DiagnosticSessionControl"},
    {0x11, 0x11, L"ECUReset"},
    {0x14, 0x14, L"ClearDiagnosticInformation"},
    {0x19, 0x19, L"ReadDTCInformation"},
    {0x22, 0x22, L"ReadDataByIdentifier"},
    {0x23, 0x23, L"ReadMemoryByAddress"},
    {0x24, 0x24, L"ReadScalingDataByIdentifier"},
    {0x27, 0x27, L"SecurityAccess"},
    {0x28, 0x28, L"CommunicationControl"},
    {0x29, 0x29, L"Authentication"},
    {0x2A, 0x2A, L"ReadDataByPeriodicIdentifier"},
    {0x2C, 0x2C, L"DynamicallyDefineDataIdentifier"},
    {0x2E, 0x2E, L"WriteDataByIdentifier"},
    {0x2F, 0x2F, L"InputOutputControlByIdentifier"},
    {0x31, 0x31, L"RoutineControl"},
    {0x34, 0x34, L"RequestDownload"},
    {0x35, 0x35, L"RequestUpload"},
    {0x36, 0x36, L"TransferData"},
    {0x37, 0x37, L"RequestTransferExit"},
    {0x38, 0x38, L"RequestFileTransfer"},
    {0x3D, 0x3D, L"WriteMemoryByAddress"},
    {0x3E, 0x3E, L"TesterPresent"},
    {0x83, 0x83, L"AccessTimingParameter"},
    {0x84, 0x84, L"SecuredDataTransmission"},
    {0x85, 0x85, L"ControlDTCSetting"},
    {0x86, 0x86, L"ResponseOnEvent"},
    {0x87, 0x87, L"LinkControl"},
    {0xBA, 0xBE, L"systemSupplierSpecific"},
});

/// True when each number from 0 to 0xFF has one name.
template <std::size_t count>
constexpr bool isComplete(const std::array<NamedRange, count>& names) {
    unsigned next = 0;
    for (const auto& name : names) {
        if (name.first != next || name.last < name.first) {
            return false;
        }
        next = name.last + 1U;
    }
    return next == 0x100;
}
static_assert(isComplete(nrcNames));

template <std::size_t count>
std::wstring nameWithNumber(const std::array<NamedRange, count>& names, std::uint8_t number) {
    const auto* const found =
        std::find_if(names.data(), names.data() + count, [number](const NamedRange& name) {
            return name.first <= number && number <= name.last;
        });
    const std::wstring text = found == names.data() + count ? L"unknown" : found->text;
    return text + L" (0x" + hexText({number}) + L")";
}

} // namespace

std::wstring nrcText(std::uint8_t nrc) {
    return nameWithNumber(nrcNames, nrc);
}

std::wstring serviceText(std::uint8_t serviceId) {
    return nameWithNumber(serviceNames, serviceId);
}

} // namespace Quarlen::Uds
