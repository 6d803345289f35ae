#pragma once

#include <cstddef>
#include <cstdint>

/// Numbers of ISO 14229-1:2020 that are parameters of services.
namespace Quarlen::Uds {

/// Data identifiers (annex C.1).
namespace Did {
/// activeDiagnosticSession: one byte, as in DiagnosticSessionControl.
inline constexpr std::uint16_t activeSession = 0xF186;
inline constexpr std::uint16_t vin = 0xF190;
inline constexpr std::uint16_t softwareVersion = 0xF195;
/// Who reprogrammed it and when. The standard leaves 0xF100 to 0xF17F to the manufacturer; this is
/// the number that the manufacturers' common flash procedure uses.
inline constexpr std::uint16_t fingerprint = 0xF15A;
} // namespace Did

/// Sub-functions of ECUReset (clause 10.3, resetType).
namespace ResetType {
inline constexpr std::uint8_t hardReset = 0x01;
} // namespace ResetType

/// Routine identifiers: 0xFF00 eraseMemory and 0xFF01 checkProgrammingDependencies are ISO 14229-1
/// annex F; 0x0202 checkMemory is the number the manufacturers' common flash procedure uses.
namespace Routine {
inline constexpr std::uint16_t eraseMemory = 0xFF00;
inline constexpr std::uint16_t checkProgrammingDependencies = 0xFF01;
inline constexpr std::uint16_t checkMemory = 0x0202;
} // namespace Routine

/// Sub-functions of RoutineControl (routineControlType).
namespace RoutineControlType {
inline constexpr std::uint8_t startRoutine = 0x01;
inline constexpr std::uint8_t requestRoutineResults = 0x03;
} // namespace RoutineControlType

/// Sub-functions of ReadDTCInformation (clause 12.3, reportType).
namespace ReadDtcReportType {
inline constexpr std::uint8_t numberOfDtcByStatusMask = 0x01;
inline constexpr std::uint8_t dtcByStatusMask = 0x02;
inline constexpr std::uint8_t freezeFrameByDtc = 0x04;
inline constexpr std::uint8_t extendedDataByDtc = 0x06;
inline constexpr std::uint8_t supportedDtc = 0x0A;
} // namespace ReadDtcReportType

/// Record number of ReadDTCInformation that asks for every record of a DTC (clause 12.3).
inline constexpr std::uint8_t allRecords = 0xFF;

/// Extended data records. The standard leaves the numbers 0x01 to 0x8F to the manufacturer (clause
/// 12.3, DTCExtDataRecordNumber); these two, one byte each, are what a vehicle file gives its
/// counters.
namespace ExtendedDataRecord {
inline constexpr std::uint8_t occurrenceCounter = 0x01;
inline constexpr std::uint8_t ageingCounter = 0x02;
} // namespace ExtendedDataRecord

/// Sub-functions of CommunicationControl (clause 10.5, controlType) and its communicationType
/// (annex B.1).
namespace CommunicationControlType {
inline constexpr std::uint8_t enableRxAndTx = 0x00;
inline constexpr std::uint8_t enableRxAndDisableTx = 0x01;
inline constexpr std::uint8_t disableRxAndEnableTx = 0x02;
inline constexpr std::uint8_t disableRxAndTx = 0x03;
} // namespace CommunicationControlType
namespace CommunicationType {
inline constexpr std::uint8_t normal = 0x01;
inline constexpr std::uint8_t networkManagement = 0x02;
inline constexpr std::uint8_t normalAndNetworkManagement = 0x03;
} // namespace CommunicationType

/// Sub-functions of ControlDTCSetting (clause 10.8, DTCSettingType).
namespace DtcSettingType {
inline constexpr std::uint8_t on = 0x01;
inline constexpr std::uint8_t off = 0x02;
} // namespace DtcSettingType

/// inputOutputControlParameter (annex E.1).
namespace InputOutputControl {
inline constexpr std::uint8_t returnControlToEcu = 0x00;
inline constexpr std::uint8_t freezeCurrentState = 0x02;
inline constexpr std::uint8_t shortTermAdjustment = 0x03;
} // namespace InputOutputControl

/// Highest level of SecurityAccess that asks for a seed (clause 10.4; 0x7F is reserved).
inline constexpr std::uint8_t maxSecurityLevel = 0x7D;
/// A DTC has three bytes (DTCAndStatusRecord).
inline constexpr std::size_t dtcDigits = 6;
/// Stands for every DTC (groupOfDTC, annex D.1).
inline constexpr std::uint32_t allDtcs = 0xFFFFFF;

/// The groups of DTCs (groupOfDTC, annex D.1). The standard leaves their numbers to the
/// manufacturer; these are the lowest DTC of each letter of ISO 15031-6 (P, C, B, U), which the two
/// highest bits of a DTC tell.
namespace DtcGroup {
inline constexpr std::uint32_t powertrain = 0x000000;
inline constexpr std::uint32_t chassis = 0x400000;
inline constexpr std::uint32_t body = 0x800000;
inline constexpr std::uint32_t network = 0xC00000;
inline constexpr std::uint32_t mask = 0xC00000;
} // namespace DtcGroup

} // namespace Quarlen::Uds
