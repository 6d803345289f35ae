#pragma once

#include <filesystem>
#include <memory>

#include "kel_cpp/vehicle/VehicleDescription.hpp"
#include "kel_cpp/vehicle/VehicleLink.hpp"
#include "platform/Clock.hpp"

namespace Quarlen::Kel_cpp {

/// Opens the vehicle that a vehicle file describes. Its state (faults, sessions, memory) lives as
/// long as the returned interface and the links opened from it. Several links may be used at the
/// same time from different threads, also to the same control unit. `clock` must outlive them all.
/// Throws `KelApiException` (code Configuration) that names file, line, column and what was
/// expected.
std::shared_ptr<VehicleInterface> openSimulatedVehicle(const std::filesystem::path& vehicleFile,
                                                       Platform::Clock& clock);

/// The same for a vehicle that is described in memory.
std::shared_ptr<VehicleInterface> openSimulatedVehicle(const VehicleDescription& description,
                                                       Platform::Clock& clock);

} // namespace Quarlen::Kel_cpp
