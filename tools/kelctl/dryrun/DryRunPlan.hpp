#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kel_cpp/settings/RuntimeSettings.hpp"
#include "simulation/VehicleDescription.hpp"
#include "tools/kelctl/check/ScriptTree.hpp"
#include "tools/kelctl/dryrun/DryRun.hpp"
#include "tools/kelctl/dryrun/PlannedFault.hpp"

namespace Quarlen::Ctl {

/// For people, UTF-8.
std::string pathText(const std::filesystem::path& path);

/// Everything that a dry run has to know before it begins, read and checked.
struct DryRunPlan {
    /// Throws `Failure`; `KelApiException` for a KelServer.xml that the server would not take.
    explicit DryRunPlan(const DryRunWish& wish);

    std::wstring scriptName;
    std::filesystem::path configFolder;
    Kel_cpp::RuntimeSettings settings;
    std::filesystem::path scriptFile;
    bool isScriptThere = false;
    /// Nothing for a script that the server would not load.
    std::optional<ScriptTree> script;
    /// Why the server would not load it, with the place; UTF-8.
    std::string loadFault;
    /// The lines of the actions in their order.
    std::vector<std::size_t> lines;
    Simulation::VehicleDescription vehicle;
    /// Where the vehicle comes from, for people.
    std::string vehicleWords;
    std::vector<PlannedFault> faults;

private:
    void readScript();
    void readVehicle(const DryRunWish& wish);
};

} // namespace Quarlen::Ctl
