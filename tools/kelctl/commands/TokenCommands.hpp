#pragma once

#include "tools/kelctl/commands/Command.hpp"

namespace Quarlen::Ctl {

/// The command `token create`. The context must outlive the application.
void addTokenCommands(CLI::App& application, CommandContext& context);

} // namespace Quarlen::Ctl
