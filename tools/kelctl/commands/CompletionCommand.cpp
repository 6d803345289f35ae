#include "tools/kelctl/commands/CompletionCommand.hpp"

#include <memory>

#include <boost/json/object.hpp>

#include "tools/kelctl/output/Completion.hpp"

namespace Quarlen::Ctl {

void addCompletionCommand(CLI::App& application, CommandContext& context) {
    const auto shell = std::make_shared<std::string>();
    addCommand(application, context, "completion", "Complete commands and options in a shell",
               "  source <(kelctl completion bash)      # in ~/.bashrc\n"
               "  source <(kelctl completion zsh)       # in ~/.zshrc, behind compinit",
               [&application, &context, shell] {
                   const std::string script =
                       *shell == "bash" ? bashCompletion(application) : zshCompletion(application);
                   context.out().line(script);
                   context.out().value({{"script", script}});
                   return ExitCode::Done;
               })
        ->add_option("shell", *shell, "bash or zsh")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh"}));
}

} // namespace Quarlen::Ctl
