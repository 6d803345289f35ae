#pragma once

#include <atomic>
#include <iosfwd>
#include <string>
#include <vector>

namespace Quarlen::KelVehicle {

/// Where the program reads and writes, and what ends it.
struct ProgramEnvironment {
    /// Must live as long as the process.
    std::istream& input;
    std::ostream& output;
    std::ostream& errors;
    const std::atomic<bool>& stopRequested;
};

/// Serves a vehicle until a stop is requested, and returns the exit code: 0 then, 1 for a file or
/// an address that is not to be had, 2 for wrong usage. Arguments in UTF-8, without the program's
/// name.
int runProgram(std::vector<std::string> arguments, const ProgramEnvironment& environment);

} // namespace Quarlen::KelVehicle
