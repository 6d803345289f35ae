#pragma once

#include <cstdint>
#include <string_view>

namespace Quarlen::Uds {

/// The bits of statusOfDTC (ISO 14229-1:2020 annex D.2).
namespace DtcStatus {
inline constexpr std::uint8_t testFailed = 0x01;
inline constexpr std::uint8_t testFailedThisOperationCycle = 0x02;
inline constexpr std::uint8_t pending = 0x04;
inline constexpr std::uint8_t confirmed = 0x08;
inline constexpr std::uint8_t testNotCompletedSinceLastClear = 0x10;
inline constexpr std::uint8_t testFailedSinceLastClear = 0x20;
inline constexpr std::uint8_t testNotCompletedThisOperationCycle = 0x40;
inline constexpr std::uint8_t warningIndicatorRequested = 0x80;
} // namespace DtcStatus

/// Why no sequence of tests, operation cycles and clears leads to this status, for example
/// "confirmedDTC without testFailedSinceLastClear"; empty for a possible status. Annex D.2 says
/// when each bit is set and reset. When a warning indicator is on is the manufacturer's decision.
[[nodiscard]] std::wstring_view impossibleDtcStatus(std::uint8_t status) noexcept;

} // namespace Quarlen::Uds
