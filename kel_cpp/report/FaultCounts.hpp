#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "kel_cpp/report/QuickTestRecords.hpp"

namespace Quarlen::Kel_cpp {

/// The status bits that make a fault a confirmed one, or a pending one where it is not confirmed:
/// testFailed, testFailedThisOperationCycle, pendingDTC. A control unit that has the third sets it
/// with the others.
inline constexpr unsigned confirmedStatus = 0x08;
inline constexpr unsigned pendingStatus = 0x07;

/// Entries of fault memories by what their status says (ISO 14229-1 annex D.2); each counts once.
struct FaultCounts {
    std::size_t confirmed = 0;
    /// Failed in this operation cycle or the last one, and not confirmed.
    std::size_t pending = 0;
    /// Neither: a test has not been run, or the fault has gone.
    std::size_t other = 0;

    /// Bits that the control unit does not use say nothing.
    void add(const ControlUnitQuickTestResult& unit);
    [[nodiscard]] std::size_t sum() const { return confirmed + pending + other; }
};

/// "2 confirmed, 1 pending"; "No faults" without any.
std::string faultCountsText(const FaultCounts& counts);

} // namespace Quarlen::Kel_cpp
