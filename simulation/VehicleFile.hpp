#pragma once

#include <filesystem>

#include "simulation/VehicleDescription.hpp"

namespace Quarlen::Simulation {

/// Reads vehicle.xml. The returned description is complete and consistent. Throws `Xml::FileError`:
/// "file:line:column: message" with what was expected.
VehicleDescription readVehicleFile(const std::filesystem::path& path);

} // namespace Quarlen::Simulation
