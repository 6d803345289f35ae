#pragma once

#include "tools/kelctl/commands/Command.hpp"

namespace Quarlen::Ctl {

/// The command `config check`, which needs no server. The context must outlive the application.
void addConfigCommands(CLI::App& application, CommandContext& context);

} // namespace Quarlen::Ctl
