#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kel_server_lib/runtime/Record.hpp"

namespace Quarlen::Kel_cpp {

struct ServiceInput : Record {
    std::vector<std::wstring> parameters;
    /// "HexService" for a raw request, else the name of a procedure.
    std::wstring serviceName;
    /// Raw UDS request, service identifier first; empty for a named procedure.
    std::vector<std::uint8_t> requestBytes;
    std::uint64_t context = 0;
};

struct ServiceResponse : Record {
    /// Raw UDS response, service identifier first.
    std::vector<std::uint8_t> data;
};

struct ServiceResult : Record {
    RecordList<ServiceResponse> responses;
    /// 0 when the service succeeded.
    std::int32_t error = 0;
    /// For people; empty when there is nothing to say.
    std::wstring errorText;
};

struct QuicktestConfig : Record {
    /// Control units to test, used only when `everyControlUnit` is false. An empty list then tests
    /// nothing.
    std::vector<std::wstring> targets;
    /// True means every control unit of the vehicle information, whatever `targets` says.
    bool everyControlUnit = true;
    /// Asks the control units for the vehicle's mileage, too.
    bool mileage = false;
};

struct DtcReadConfig : Record {
    /// DTC status mask, ISO 14229-1 D.2, bit 0 testFailed to bit 7 warningIndicatorRequested.
    std::uint32_t statusMask = 0;
    /// Reads the freeze frames of each fault, too.
    bool freezeFrames = false;
    /// Reads the extended data of each fault, its counters for example, too.
    bool extendedData = false;
};

struct VehicleReportConfig : Record {
    std::uint32_t serviceMask = 0;
    std::vector<std::uint32_t> reportTypes;
};

/// Opaque to the program, which only hands it back to `createVehicleReport`.
struct QuickTestResult : Record {};

struct VciServerError : Record {
    std::wstring message;
};

struct FlashJobError : Record {
    std::wstring message;
    /// Set when the vehicle communication interface is at fault.
    std::shared_ptr<VciServerError> vciServerError;
};

struct FlashResult : Record {
    /// Null when there is no error.
    std::shared_ptr<FlashJobError> jobError;
    /// Percent of the session done, 0 to 100.
    std::uint16_t progress = 0;
    std::wstring sessionName;
};

struct FlashInfo : Record {
    /// Name of the control unit that the item is for.
    std::wstring target;
    std::wstring description;
    /// Name of the flash item as the project spells it.
    std::wstring item;
};

struct FlashSession : Record {
    std::wstring name;
};

struct UnlockSession : Record {
    /// Never 0; released with `releaseJob`.
    std::uint64_t handle = 0;
};

} // namespace Quarlen::Kel_cpp
