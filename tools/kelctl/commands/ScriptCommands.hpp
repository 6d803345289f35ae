#pragma once

#include "tools/kelctl/commands/Command.hpp"

namespace Quarlen::Ctl {

/// The command `script check`, which needs no server. The context must outlive the application.
void addScriptCommands(CLI::App& application, CommandContext& context);

} // namespace Quarlen::Ctl
