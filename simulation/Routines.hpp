#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "simulation/ServiceReply.hpp"
#include "simulation/VehicleDescription.hpp"
#include "uds/Uds.hpp"

namespace Quarlen::Simulation {

/// The routines that a vehicle file describes (ISO 14229-1 clause 14.2): a tester starts a routine,
/// which runs as long as described, and then requests its result. Not thread-safe.
class Routines {
public:
    explicit Routines(const std::vector<RoutineDescription>& descriptions);

    [[nodiscard]] bool knows(std::uint16_t routine) const { return routines.contains(routine); }

    /// `request` has at least a routine identifier.
    ServiceReply control(const Uds::Bytes& request, const AccessState& access);

private:
    struct Routine {
        RoutineDescription description;
        bool hasRun = false;
    };

    std::map<std::uint16_t, Routine> routines;
};

} // namespace Quarlen::Simulation
