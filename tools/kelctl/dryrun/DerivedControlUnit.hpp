#pragma once

#include <filesystem>

#include "kel_cpp/projects/Project.hpp"
#include "simulation/VehicleDescription.hpp"

/// The parts of a control unit that follow from a project. What a control unit already has comes
/// first: a second value for the same identifier, level or request changes nothing.
namespace Quarlen::Ctl {

void addIdentifier(Simulation::ControlUnitDescription& unit, std::uint16_t id, Uds::Bytes value);

void addSecurityLevel(Simulation::ControlUnitDescription& unit, std::uint8_t level,
                      std::uint32_t keyMask);

/// Memory for all sessions of the item. Sessions without a size take the size of their file.
void addFlashMemory(Simulation::ControlUnitDescription& unit, const Kel_cpp::FlashItem& item,
                    const std::filesystem::path& flashData);
/// What the steps of the flash item ask is answered positively.
void addFlashSteps(Simulation::ControlUnitDescription& unit, const Kel_cpp::FlashItem& item);

/// The answer that the step expects, with 00 for each byte that may be any; silence where it
/// wants none and the request suppresses a positive one. The services whose
/// answers depend on a state (sessions, seeds, fault memory, flashing) are left to the simulation.
void addAnswer(Simulation::ControlUnitDescription& unit, const Kel_cpp::UdsStep& step);

} // namespace Quarlen::Ctl
