#pragma once

#include <pugixml.hpp>

#include "simulation/VehicleDescription.hpp"
#include "xml/File.hpp"

namespace Quarlen::Simulation {

/// One Dtc element of a vehicle file with its freeze frames and extended data. Throws as
/// `readVehicleFile`.
DtcDescription readDtc(const Xml::File& file, const pugi::xml_node& node);

} // namespace Quarlen::Simulation
