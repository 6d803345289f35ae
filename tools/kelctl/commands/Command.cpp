#include "tools/kelctl/commands/Command.hpp"

#include <utility>

namespace Quarlen::Ctl {

CLI::Validator notEmpty() {
    return {[](const std::string& text) {
                return text.empty() ? std::string("must not be empty") : std::string();
            },
            ""};
}

CLI::App* addCommand(CLI::App& parent, CommandContext& context, const std::string& name,
                     const std::string& description, const std::string& examples,
                     std::function<ExitCode()> run) {
    CLI::App* const command = parent.add_subcommand(name, description);
    command->fallthrough();
    command->footer("Examples:\n" + examples +
                    "\n\nOptions of all commands, --host and --json for example: kelctl --help");
    command->callback([&context, run = std::move(run)] { context.chosen = run; });
    return command;
}

} // namespace Quarlen::Ctl
