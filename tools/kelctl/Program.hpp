#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace Quarlen::Ctl {

/// Where the program says what, and what it knows of its surroundings.
struct ProgramEnvironment {
    std::ostream& output;
    std::ostream& errors;
    /// `output` is a terminal.
    bool isTerminal = false;
    /// The environment variable NO_COLOR is set and not empty (no-color.org).
    bool noColour = false;
};

/// The whole program between the entry point and the exit code. The arguments are UTF-8, without
/// the program's path.
int runProgram(std::vector<std::string> arguments, const ProgramEnvironment& environment);

} // namespace Quarlen::Ctl
