#pragma once

#include "tools/kelctl/commands/Command.hpp"

namespace Quarlen::Ctl {

/// The command `support bundle`. The context must outlive the application.
void addSupportCommands(CLI::App& application, CommandContext& context);

} // namespace Quarlen::Ctl
