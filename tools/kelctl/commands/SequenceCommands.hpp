#pragma once

#include "tools/kelctl/commands/Command.hpp"

namespace Quarlen::Ctl {

/// The commands that use the runtime's server: `status`, `start`, `cancel`, `reports`. The context
/// must outlive the application.
void addSequenceCommands(CLI::App& application, CommandContext& context);

} // namespace Quarlen::Ctl
