#pragma once

#include <string>

#include <pugixml.hpp>

#include "simulation/VehicleDescription.hpp"
#include "xml/File.hpp"

namespace Quarlen::Simulation {

/// One ControlUnit element of a vehicle file. `vin` is the value of its data identifiers with
/// vin="true". Throws as `readVehicleFile`.
ControlUnitDescription readControlUnit(const Xml::File& file, const pugi::xml_node& node,
                                       const std::wstring& vin);

} // namespace Quarlen::Simulation
