#pragma once

#include "tools/kelctl/commands/Command.hpp"

namespace Quarlen::Ctl {

/// Which vehicles are in the network, and what one says of itself. No server is asked.
void addVehicleCommands(CLI::App& application, CommandContext& context);

} // namespace Quarlen::Ctl
