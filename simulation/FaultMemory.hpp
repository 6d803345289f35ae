#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "simulation/ServiceReply.hpp"
#include "simulation/VehicleDescription.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Simulation {

/// The fault memory of a simulated control unit (ISO 14229-1 clauses 12.2 and 12.3). Not
/// thread-safe.
class FaultMemory {
public:
    explicit FaultMemory(std::vector<DtcDescription> dtcs) : dtcs(std::move(dtcs)) {}

    /// ClearDiagnosticInformation: all (0xFFFFFF) or one DTC. A cleared DTC stays supported; its
    /// status says that no test has completed since.
    ServiceReply clear(const Uds::Bytes& request);

    /// ReadDTCInformation 0x01 (count by status mask), 0x02 (DTCs by status mask) and 0x0A (all
    /// supported DTCs).
    [[nodiscard]] ServiceReply read(const Uds::Bytes& request) const;

private:
    [[nodiscard]] ServiceReply countMatching(std::uint8_t mask) const;
    [[nodiscard]] ServiceReply list(std::uint8_t subFunction, std::uint8_t mask) const;

    std::vector<DtcDescription> dtcs;
};

} // namespace Quarlen::Simulation
