#pragma once

#include <string>

#include <pugixml.hpp>

#include "kel_cpp/settings/XmlReading.hpp"
#include "kel_cpp/vehicle/VehicleDescription.hpp"

namespace Quarlen::Kel_cpp {

/// One ControlUnit element of a vehicle file. `vin` is what its data identifiers with vin="true"
/// hold. Throws as `readVehicleFile`.
ControlUnitDescription readControlUnit(const XmlFile& file, const pugi::xml_node& node,
                                       const std::wstring& vin);

} // namespace Quarlen::Kel_cpp
