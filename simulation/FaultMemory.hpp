#pragma once

#include <cstdint>
#include <vector>

#include "simulation/FaultRecords.hpp"
#include "simulation/ServiceReply.hpp"
#include "simulation/VehicleDescription.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Simulation {

/// The fault memory of a simulated control unit (ISO 14229-1 clauses 12.2 and 12.3). Not
/// thread-safe.
class FaultMemory {
public:
    /// `dtcFormat` is the DTCFormatIdentifier, `statusAvailability` the status bits in use.
    FaultMemory(std::vector<DtcDescription> dtcs, std::uint8_t dtcFormat,
                std::uint8_t statusAvailability);

    /// ClearDiagnosticInformation: all (0xFFFFFF), one of `Uds::DtcGroup` or one DTC. A group of
    /// which the control unit has no DTC is refused. A cleared DTC stays supported; its status says
    /// that no test has completed since, and its records are gone.
    ServiceReply clear(const Uds::Bytes& request);

    /// ReadDTCInformation 0x01 (count by status mask), 0x02 (DTCs by status mask), 0x04 and 0x06
    /// (freeze frames and extended data of one DTC, when the control unit has any) and 0x0A (all
    /// supported DTCs).
    [[nodiscard]] ServiceReply read(const Uds::Bytes& request) const;

private:
    [[nodiscard]] ServiceReply readRecords(const Uds::Bytes& request,
                                           const FaultRecords& records) const;
    [[nodiscard]] ServiceReply countMatching(std::uint8_t mask) const;
    [[nodiscard]] ServiceReply list(std::uint8_t subFunction, std::uint8_t mask) const;

    std::vector<DtcDescription> dtcs;
    std::uint8_t dtcFormat;
    std::uint8_t statusAvailability;
    FaultRecords freezeFrames;
    FaultRecords extendedData;
};

} // namespace Quarlen::Simulation
