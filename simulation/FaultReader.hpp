#pragma once

#include <pugixml.hpp>

#include "simulation/VehicleDescription.hpp"
#include "xml/File.hpp"

namespace Quarlen::Simulation {

/// One Fault element of a vehicle file. Throws as `readVehicleFile`.
FaultDescription readFault(const Xml::File& file, const pugi::xml_node& node);

} // namespace Quarlen::Simulation
