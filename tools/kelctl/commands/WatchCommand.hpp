#pragma once

#include "tools/kelctl/commands/Command.hpp"

namespace Quarlen::Ctl {

/// The command `watch`. The context must outlive the application.
void addWatchCommand(CLI::App& application, CommandContext& context);

} // namespace Quarlen::Ctl
