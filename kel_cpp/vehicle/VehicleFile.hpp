#pragma once

#include <filesystem>

#include "kel_cpp/vehicle/VehicleDescription.hpp"

namespace Quarlen::Kel_cpp {

/// Reads vehicle.xml. What it gives is complete and without contradictions.
/// Throws `KelApiException` (code Configuration): "file:line:column: message" with what was
/// expected.
VehicleDescription readVehicleFile(const std::filesystem::path& path);

} // namespace Quarlen::Kel_cpp
