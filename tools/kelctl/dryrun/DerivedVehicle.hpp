#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "config/ScriptObjects.hpp"
#include "kel_cpp/projects/Project.hpp"
#include "simulation/VehicleDescription.hpp"

/// A vehicle made from what projects expect of one, for a script whose car nobody has described.
namespace Quarlen::Ctl {

/// Where projects and flash files lie.
struct ProjectFolders {
    std::filesystem::path projects;
    std::filesystem::path flashData;
};

/// The vehicle that the projects named by the script expect. A script without a project that can be
/// read gives a vehicle without control units.
Simulation::VehicleDescription deriveVehicle(const Config::CfxKelServerScript& script,
                                             const ProjectFolders& folders);

/// The same for projects: one control unit for each logical link, which knows the identification of
/// its projects, the security levels of their unlocks and flash items, has flash memory where their
/// sessions write, and answers the requests of their procedures as these expect.
Simulation::VehicleDescription
deriveVehicle(const std::vector<std::shared_ptr<const Kel_cpp::Project>>& projects,
              const std::wstring& vin, const std::filesystem::path& flashData);

} // namespace Quarlen::Ctl
