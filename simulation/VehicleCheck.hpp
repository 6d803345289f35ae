#pragma once

#include <string>
#include <vector>

#include "simulation/VehicleDescription.hpp"

namespace Quarlen::Simulation {

/// A sentence about each fault of the control unit whose status no sequence of tests leads to (ISO
/// 14229-1 annex D.2). The simulation takes such a status all the same.
[[nodiscard]] std::vector<std::wstring> impossibleStatuses(const ControlUnitDescription& unit);

} // namespace Quarlen::Simulation
