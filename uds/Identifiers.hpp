#pragma once

#include <cstddef>
#include <cstdint>

/// Numbers of ISO 14229-1:2020 that are parameters of services.
namespace Quarlen::Uds {

/// Data identifiers (annex C.1).
namespace Did {
inline constexpr std::uint16_t vin = 0xF190;
inline constexpr std::uint16_t softwareVersion = 0xF195;
inline constexpr std::uint16_t fingerprint = 0xF15A;
} // namespace Did

/// Routine identifiers: 0xFF00 eraseMemory is ISO 14229-1 annex F; 0x0202 checkMemory is the number
/// the manufacturers' common flash procedure uses.
namespace Routine {
inline constexpr std::uint16_t eraseMemory = 0xFF00;
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
inline constexpr std::uint8_t supportedDtc = 0x0A;
} // namespace ReadDtcReportType

/// Highest level of SecurityAccess that asks for a seed (clause 10.4; 0x7F is reserved).
inline constexpr std::uint8_t maxSecurityLevel = 0x7D;
/// A DTC has three bytes (DTCAndStatusRecord).
inline constexpr std::size_t dtcDigits = 6;
/// Stands for every DTC (groupOfDTC, annex D.1).
inline constexpr std::uint32_t allDtcs = 0xFFFFFF;

} // namespace Quarlen::Uds
