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

/// Annex A.1, its mnemonics in words: an operator reads them.
constexpr auto nrcNames = std::to_array<NamedRange>({
    {0x00, 0x00, L"positive response"},
    {0x01, 0x0F, L"ISO SAE reserved"},
    {0x10, 0x10, L"general reject"},
    {0x11, 0x11, L"service not supported"},
    {0x12, 0x12, L"sub-function not supported"},
    {0x13, 0x13, L"incorrect message length or invalid format"},
    {0x14, 0x14, L"response too long"},
    {0x15, 0x20, L"ISO SAE reserved"},
    {0x21, 0x21, L"busy, repeat request"},
    {0x22, 0x22, L"conditions not correct"},
    {0x23, 0x23, L"ISO SAE reserved"},
    {0x24, 0x24, L"request sequence error"},
    {0x25, 0x25, L"no response from subnet component"},
    {0x26, 0x26, L"failure prevents execution of requested action"},
    {0x27, 0x30, L"ISO SAE reserved"},
    {0x31, 0x31, L"request out of range"},
    {0x32, 0x32, L"ISO SAE reserved"},
    {0x33, 0x33, L"security access denied"},
    {0x34, 0x34, L"authentication required"},
    {0x35, 0x35, L"invalid key"},
    {0x36, 0x36, L"exceeded number of attempts"},
    {0x37, 0x37, L"required time delay not expired"},
    {0x38, 0x38, L"secure data transmission required"},
    {0x39, 0x39, L"secure data transmission not allowed"},
    {0x3A, 0x3A, L"secure data verification failed"},
    {0x3B, 0x4F, L"ISO SAE reserved"},
    {0x50, 0x50, L"certificate verification failed, invalid time period"},
    {0x51, 0x51, L"certificate verification failed, invalid signature"},
    {0x52, 0x52, L"certificate verification failed, invalid chain of trust"},
    {0x53, 0x53, L"certificate verification failed, invalid type"},
    {0x54, 0x54, L"certificate verification failed, invalid format"},
    {0x55, 0x55, L"certificate verification failed, invalid content"},
    {0x56, 0x56, L"certificate verification failed, invalid scope"},
    {0x57, 0x57, L"certificate verification failed, invalid certificate"},
    {0x58, 0x58, L"ownership verification failed"},
    {0x59, 0x59, L"challenge calculation failed"},
    {0x5A, 0x5A, L"setting access rights failed"},
    {0x5B, 0x5B, L"session key creation derivation failed"},
    {0x5C, 0x5C, L"configuration data usage failed"},
    {0x5D, 0x5D, L"deauthentication failed"},
    {0x5E, 0x6F, L"ISO SAE reserved"},
    {0x70, 0x70, L"upload/download not accepted"},
    {0x71, 0x71, L"transfer data suspended"},
    {0x72, 0x72, L"general programming failure"},
    {0x73, 0x73, L"wrong block sequence counter"},
    {0x74, 0x77, L"ISO SAE reserved"},
    {0x78, 0x78, L"request correctly received, response pending"},
    {0x79, 0x7D, L"ISO SAE reserved"},
    {0x7E, 0x7E, L"sub-function not supported in active session"},
    {0x7F, 0x7F, L"service not supported in active session"},
    {0x80, 0x80, L"ISO SAE reserved"},
    {0x81, 0x81, L"RPM too high"},
    {0x82, 0x82, L"RPM too low"},
    {0x83, 0x83, L"engine is running"},
    {0x84, 0x84, L"engine is not running"},
    {0x85, 0x85, L"engine run time too low"},
    {0x86, 0x86, L"temperature too high"},
    {0x87, 0x87, L"temperature too low"},
    {0x88, 0x88, L"vehicle speed too high"},
    {0x89, 0x89, L"vehicle speed too low"},
    {0x8A, 0x8A, L"throttle/pedal too high"},
    {0x8B, 0x8B, L"throttle/pedal too low"},
    {0x8C, 0x8C, L"transmission range not in neutral"},
    {0x8D, 0x8D, L"transmission range not in gear"},
    {0x8E, 0x8E, L"ISO SAE reserved"},
    {0x8F, 0x8F, L"brake switch(es) not closed"},
    {0x90, 0x90, L"shifter lever not in park"},
    {0x91, 0x91, L"torque converter clutch locked"},
    {0x92, 0x92, L"voltage too high"},
    {0x93, 0x93, L"voltage too low"},
    {0x94, 0x94, L"resource temporarily not available"},
    {0x95, 0xEF, L"reserved for specific conditions not correct"},
    {0xF0, 0xFE, L"vehicle manufacturer specific conditions not correct"},
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
