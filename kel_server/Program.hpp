#pragma once

#include "kel_server/ApplicationEnvironment.hpp"

namespace Quarlen {

/// The whole program between the entry point and the exit code.
int runProgram(int argc, const wchar_t* const argv[], const ApplicationEnvironment& environment);

} // namespace Quarlen
