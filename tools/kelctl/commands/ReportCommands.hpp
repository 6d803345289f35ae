#pragma once

#include "tools/kelctl/commands/Command.hpp"

namespace Quarlen::Ctl {

/// The command `reports`. The context must outlive the application.
void addReportCommands(CLI::App& application, CommandContext& context);

} // namespace Quarlen::Ctl
