#pragma once

#include <cstdint>
#include <vector>

#include "kel_cpp/uds/Uds.hpp"
#include "kel_cpp/vehicle/VehicleDescription.hpp"

namespace Quarlen::Kel_cpp {

/// Decides which of a control unit's described failures a request runs into. Not thread-safe.
class DeliberateFaults {
public:
    explicit DeliberateFaults(const std::vector<FaultDescription>& descriptions);

    /// Counts the request; the first failure in the order of the description wins. Null when all
    /// is well. The pointer is valid as long as this object.
    const FaultDescription* next(const Uds::Bytes& request);

private:
    struct Fault {
        FaultDescription description;
        std::uint64_t matches = 0;
    };

    std::vector<Fault> faults;
};

} // namespace Quarlen::Kel_cpp
