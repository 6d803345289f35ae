#pragma once

#include "tools/kelctl/commands/Command.hpp"

namespace Quarlen::Ctl {

/// The commands that use the REST API: `health`, `version`, `configurations`, `tracing`,
/// `simulation`, `otx`, `update`, `bind`, `abort`, `stop`. The context must outlive the
/// application.
void addRestCommands(CLI::App& application, CommandContext& context);

} // namespace Quarlen::Ctl
