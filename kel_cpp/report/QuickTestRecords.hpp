#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kel_server_lib/runtime/JobRecords.hpp"

namespace Quarlen::Kel_cpp {

/// One entry of a fault memory.
struct DtcReading {
    /// Three bytes, ISO 15031-6 / SAE J2012-DA numbering.
    std::uint32_t code = 0;
    /// ISO 14229-1 D.2, bit 0 testFailed to bit 7 warningIndicatorRequested.
    std::uint8_t status = 0;
    /// Empty when the project has no text for the code.
    std::wstring text;
};

struct IdentificationValue {
    std::uint16_t dataIdentifier = 0;
    std::wstring name;
    /// Readable text, or the bytes in hexadecimal, or the reason why the value could not be read.
    std::wstring value;
};

/// The built-in runtime's quick-test result: one control unit.
struct ControlUnitQuickTestResult : QuickTestResult {
    std::wstring name;
    std::wstring link;
    /// Empty when the control unit answered.
    std::wstring errorText;
    std::vector<IdentificationValue> identification;
    /// Faults whose status matches the mask that was asked for.
    std::vector<DtcReading> faults;
    /// Every DTC the control unit supports (service 0x19 0x0A); filled when it was asked for.
    std::vector<DtcReading> supported;
    /// Number of DTCs that match the status mask, counted by the control unit (service 0x19 0x01).
    std::uint16_t faultCount = 0;
};

} // namespace Quarlen::Kel_cpp
