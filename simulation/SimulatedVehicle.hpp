#pragma once

#include <filesystem>
#include <memory>

#include "platform/Clock.hpp"
#include "simulation/VehicleDescription.hpp"
#include "uds/VehicleLink.hpp"

namespace Quarlen::Simulation {

/// The simulated vehicle stands for a real one behind `Uds::VehicleInterface`. VehicleFile.hpp
/// reads vehicle.xml into a `VehicleDescription`; the vehicle owns one `SimulatedControlUnit` for
/// each described control unit, and a link hands each request to its control unit. There is no
/// thread here: the control unit computes its responses with their due times on the thread that
/// sends the request, and `receive` returns each response when the clock reaches its due time.
///
/// Opens the vehicle that a vehicle file describes. The state of the vehicle (faults, sessions,
/// memory) lives as long as the returned interface and the links opened from it. Several links may
/// be used at the same time from different threads, also to the same control unit. `clock` must
/// outlive them all. Throws `Xml::FileError` that names file, line, column and what was expected.
std::shared_ptr<Uds::VehicleInterface>
openSimulatedVehicle(const std::filesystem::path& vehicleFile, Platform::Clock& clock);

/// The same for a vehicle that is described in memory.
std::shared_ptr<Uds::VehicleInterface> openSimulatedVehicle(const VehicleDescription& description,
                                                            Platform::Clock& clock);

} // namespace Quarlen::Simulation
