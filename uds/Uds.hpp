#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// What both sides of a diagnostic link have to agree on: the numbers of ISO 14229-1:2020, how a
/// message is put together from them, and their names in messages to people. A request is a service
/// identifier with its parameters; its answer is the same identifier + 0x40 with data, or 0x7F with
/// the service and the reason of the refusal. The runtime asks with these numbers and the simulated
/// control units answer with them, so that neither has a table of its own. A message is a plain
/// vector of bytes that its holder owns; nothing here has a state, so any thread may call it.
namespace Quarlen::Uds {

using Bytes = std::vector<std::uint8_t>;

/// Service identifiers (clause 9 to 16, table 2 of annex A gives the responses: + 0x40).
enum class Service : std::uint8_t {
    DiagnosticSessionControl = 0x10,
    EcuReset = 0x11,
    ClearDiagnosticInformation = 0x14,
    ReadDtcInformation = 0x19,
    ReadDataByIdentifier = 0x22,
    ReadMemoryByAddress = 0x23,
    ReadScalingDataByIdentifier = 0x24,
    SecurityAccess = 0x27,
    CommunicationControl = 0x28,
    Authentication = 0x29,
    ReadDataByPeriodicIdentifier = 0x2A,
    DynamicallyDefineDataIdentifier = 0x2C,
    WriteDataByIdentifier = 0x2E,
    InputOutputControlByIdentifier = 0x2F,
    RoutineControl = 0x31,
    RequestDownload = 0x34,
    RequestUpload = 0x35,
    TransferData = 0x36,
    RequestTransferExit = 0x37,
    RequestFileTransfer = 0x38,
    WriteMemoryByAddress = 0x3D,
    TesterPresent = 0x3E,
    AccessTimingParameter = 0x83,
    SecuredDataTransmission = 0x84,
    ControlDtcSetting = 0x85,
    ResponseOnEvent = 0x86,
    LinkControl = 0x87,
};

inline constexpr std::uint8_t positiveResponseOffset = 0x40;
inline constexpr std::uint8_t negativeResponseId = 0x7F;
inline constexpr std::uint8_t suppressPositiveResponseBit = 0x80;

/// Negative response codes (annex A.1).
enum class Nrc : std::uint8_t {
    GeneralReject = 0x10,
    ServiceNotSupported = 0x11,
    SubFunctionNotSupported = 0x12,
    IncorrectMessageLengthOrInvalidFormat = 0x13,
    ResponseTooLong = 0x14,
    BusyRepeatRequest = 0x21,
    ConditionsNotCorrect = 0x22,
    RequestSequenceError = 0x24,
    NoResponseFromSubnetComponent = 0x25,
    FailurePreventsExecutionOfRequestedAction = 0x26,
    RequestOutOfRange = 0x31,
    SecurityAccessDenied = 0x33,
    AuthenticationRequired = 0x34,
    InvalidKey = 0x35,
    ExceededNumberOfAttempts = 0x36,
    RequiredTimeDelayNotExpired = 0x37,
    SecureDataTransmissionRequired = 0x38,
    SecureDataTransmissionNotAllowed = 0x39,
    SecureDataVerificationFailed = 0x3A,
    CertificateVerificationFailedInvalidTimePeriod = 0x50,
    CertificateVerificationFailedInvalidSignature = 0x51,
    CertificateVerificationFailedInvalidChainOfTrust = 0x52,
    CertificateVerificationFailedInvalidType = 0x53,
    CertificateVerificationFailedInvalidFormat = 0x54,
    CertificateVerificationFailedInvalidContent = 0x55,
    CertificateVerificationFailedInvalidScope = 0x56,
    CertificateVerificationFailedInvalidCertificate = 0x57,
    OwnershipVerificationFailed = 0x58,
    ChallengeCalculationFailed = 0x59,
    SettingAccessRightsFailed = 0x5A,
    SessionKeyCreationDerivationFailed = 0x5B,
    ConfigurationDataUsageFailed = 0x5C,
    DeAuthenticationFailed = 0x5D,
    UploadDownloadNotAccepted = 0x70,
    TransferDataSuspended = 0x71,
    GeneralProgrammingFailure = 0x72,
    WrongBlockSequenceCounter = 0x73,
    ResponsePending = 0x78,
    SubFunctionNotSupportedInActiveSession = 0x7E,
    ServiceNotSupportedInActiveSession = 0x7F,
    RpmTooHigh = 0x81,
    RpmTooLow = 0x82,
    EngineIsRunning = 0x83,
    EngineIsNotRunning = 0x84,
    EngineRunTimeTooLow = 0x85,
    TemperatureTooHigh = 0x86,
    TemperatureTooLow = 0x87,
    VehicleSpeedTooHigh = 0x88,
    VehicleSpeedTooLow = 0x89,
    ThrottleOrPedalTooHigh = 0x8A,
    ThrottleOrPedalTooLow = 0x8B,
    TransmissionRangeNotInNeutral = 0x8C,
    TransmissionRangeNotInGear = 0x8D,
    BrakeSwitchNotClosed = 0x8F,
    ShifterLeverNotInPark = 0x90,
    TorqueConverterClutchLocked = 0x91,
    VoltageTooHigh = 0x92,
    VoltageTooLow = 0x93,
    ResourceTemporarilyNotAvailable = 0x94,
};

enum class Session : std::uint8_t { Default = 0x01, Programming = 0x02, Extended = 0x03 };

/// True when the second byte of a request is a sub-function, whose highest bit asks for the
/// positive response to be left out (clause 8.2.2).
[[nodiscard]] bool hasSubFunction(std::uint8_t serviceId) noexcept;
/// TesterPresent that nobody answers: it keeps a session (clause 10.6).
[[nodiscard]] const Bytes& quietTesterPresent();
/// True for a request with a sub-function whose highest bit is set.
[[nodiscard]] bool suppressesPositiveResponse(const Bytes& request) noexcept;
/// True for a whole negative response: 0x7F, the service that is refused, the response code.
[[nodiscard]] bool isNegative(const Bytes& response) noexcept;
[[nodiscard]] bool isRefusal(const Bytes& response, Nrc code) noexcept;

/// Appends a number with its most significant byte first. `count` is 1 to 8.
void appendNumber(Bytes& message, std::uint64_t value, std::size_t count);
/// `offset + count` must lie within the message.
[[nodiscard]] std::uint64_t numberAt(const Bytes& message, std::size_t offset,
                                     std::size_t count) noexcept;

/// blockSequenceCounter of TransferData: 0 follows 255 (ISO 14229-1, TransferData).
constexpr std::uint8_t nextBlockCounter(std::uint8_t counter) {
    return static_cast<std::uint8_t>((counter + 1U) & 0xFFU);
}

/// Text for messages, for example "request out of range (0x31)". Every number has a name; those
/// that the standard keeps for later are "ISO SAE reserved".
std::wstring nrcText(std::uint8_t nrc);
/// For example "ECUReset (0x11)"; "unknown (0x40)" for a number that is no request.
std::wstring serviceText(std::uint8_t serviceId);
/// "22 F1 90"
std::wstring hexText(const Bytes& bytes);
/// "0x0E80" with four digits. `digits` is 1 to 16.
std::wstring hexNumberText(std::uint64_t value, std::size_t digits);

} // namespace Quarlen::Uds
