#pragma once

#include <CLI/App.hpp>
#include <CLI/Validators.hpp>
#include <functional>
#include <string>

#include "tools/kelctl/base/ExitCode.hpp"
#include "tools/kelctl/output/Output.hpp"
#include "tools/kelctl/server/ServerPlace.hpp"

namespace Quarlen::Ctl {

/// What the options say that all commands share.
struct CommandContext {
    ServerPlace place;
    /// Set before a command runs.
    Output* output = nullptr;
    /// What the command line asks for.
    std::function<ExitCode()> chosen;

    [[nodiscard]] Output& out() const { return *output; }
};

/// For an option or a name that has to say something.
CLI::Validator notEmpty();

/// A command of its own name below another one; `run` is what it does. `examples` are lines as
/// people type them.
CLI::App* addCommand(CLI::App& parent, CommandContext& context, const std::string& name,
                     const std::string& description, const std::string& examples,
                     std::function<ExitCode()> run);

} // namespace Quarlen::Ctl
