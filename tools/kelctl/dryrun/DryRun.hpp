#pragma once

#include <string>
#include <vector>

#include "tools/kelctl/base/ExitCode.hpp"
#include "tools/kelctl/output/Output.hpp"

/// A script is walked as the server walks it, by the server's own engine over the built-in runtime,
/// but against a simulated vehicle and in a time that does not have to be waited for. The runtime
/// gets a configuration folder of its own, so that nothing is written outside a temporary folder.
namespace Quarlen::Ctl {

struct DryRunWish {
    /// As for a run on the server: a file, or a name in the folder "KelServerScripts". UTF-8.
    std::string script;
    /// Empty: the folder around the script's "KelServerScripts", else the server's own.
    std::string configFolder;
    /// A vehicle file; empty: the one that the configuration names.
    std::string vehicleFile;
    /// The vehicle follows from the projects that the script names.
    bool derivesVehicle = false;
    /// As typed.
    std::vector<std::string> faults;
    /// Also tells of the exchanges with the vehicle.
    bool verbose = false;
};

/// Runs the script and tells what happens. Call it once in a process, before there are other
/// threads: from then on a stop signal cancels the run. Throws `Failure`.
ExitCode dryRun(const DryRunWish& wish, Output& output);

} // namespace Quarlen::Ctl
