#pragma once

#include <cstdint>
#include <vector>

#include "simulation/VehicleDescription.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Simulation {

/// Decides which described fault of a control unit applies to a request. Not thread-safe.
class DeliberateFaults {
public:
    explicit DeliberateFaults(const std::vector<FaultDescription>& descriptions);

    /// Counts the request and returns the first matching fault in the order of the description, or
    /// null. The pointer is valid as long as this object.
    const FaultDescription* next(const Uds::Bytes& request);

private:
    struct Fault {
        FaultDescription description;
        std::uint64_t matches = 0;
    };

    std::vector<Fault> faults;
};

} // namespace Quarlen::Simulation
