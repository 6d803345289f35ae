#pragma once

#include "tools/kelctl/commands/Command.hpp"

namespace Quarlen::Ctl {

/// Starts a sequence and shows its status texts and how far its jobs are until it has ended. The
/// exit code is that of the run's outcome. Throws `Failure`.
ExitCode followRun(const CommandContext& context, const std::string& name);

} // namespace Quarlen::Ctl
