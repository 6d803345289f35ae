#pragma once

#include "tools/kelctl/commands/Command.hpp"

namespace Quarlen::Ctl {

/// The command `completion`, which knows all commands of the application. The context must outlive
/// the application.
void addCompletionCommand(CLI::App& application, CommandContext& context);

} // namespace Quarlen::Ctl
