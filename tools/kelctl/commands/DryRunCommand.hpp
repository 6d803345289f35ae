#pragma once

#include "tools/kelctl/commands/Command.hpp"

namespace Quarlen::Ctl {

/// The command `run` below `script`. The context must outlive the application.
void addDryRunCommand(CLI::App& scripts, CommandContext& context);

} // namespace Quarlen::Ctl
