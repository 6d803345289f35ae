#include "tools/kelctl/commands/ScriptCommands.hpp"

#include <map>
#include <memory>
#include <vector>

#include "platform/TextEncoding.hpp"
#include "tools/kelctl/check/ConfigCheck.hpp"
#include "tools/kelctl/check/ScriptCheck.hpp"
#include "tools/kelctl/commands/CheckOutput.hpp"
#include "tools/kelctl/commands/DryRunCommand.hpp"

namespace Quarlen::Ctl {

namespace {

struct ScriptsToCheck : CheckWish {
    std::vector<std::string> files;
    std::string configFolder;
};

/// The folders that scripts belong to, each read once.
class ConfigFolders {
public:
    explicit ConfigFolders(const std::string& name)
        : given(name.empty() ? std::filesystem::path() : requiredFolder(name)) {}

    /// Null where none is given and the script lies in none.
    const ConfigFolder* of(const std::filesystem::path& script) {
        const auto place = given.empty() ? configFolderOf(script) : given;
        return place.empty() ? nullptr : &folders.try_emplace(place, place).first->second;
    }
    /// Of those that were asked for: why their settings are refused.
    [[nodiscard]] std::vector<Finding> faults() const {
        std::vector<Finding> all;
        for (const auto& [place, folder] : folders) {
            const auto faults = checkSettingsLoad(folder);
            all.insert(all.end(), faults.begin(), faults.end());
        }
        return all;
    }

private:
    std::filesystem::path given;
    std::map<std::filesystem::path, ConfigFolder> folders;
};

ExitCode check(const CommandContext& context, const ScriptsToCheck& wish) {
    ConfigFolders folders(wish.configFolder);
    std::vector<Finding> all;
    const auto workingFolder = wish.workingPath();
    for (const std::string& name : wish.files) {
        const auto file = Platform::toPath(Platform::fromUtf8(name));
        const ConfigFolder* const config = folders.of(file);
        const auto findings = checkScript(file, {config, workingFolder});
        all.insert(all.end(), findings.begin(), findings.end());
    }
    const auto faults = folders.faults();
    all.insert(all.end(), faults.begin(), faults.end());
    return tellFindings(context, wish, all, wish.files.size());
}

void addCheck(CLI::App& scripts, CommandContext& context) {
    const auto wish = std::make_shared<ScriptsToCheck>();
    CLI::App* const command =
        addCommand(scripts, context, "check", "Tell what is wrong with scripts",
                   "  kelctl script check config/KelServerScripts/Demo.xml\n"
                   "  kelctl script check config/KelServerScripts/*.xml --format github\n\n"
                   "A script in a folder KelServerScripts is checked against the configuration\n"
                   "around it. --json gives SARIF. Exit code 4: there are errors or warnings.",
                   [&context, wish] { return check(context, *wish); });
    command->add_option("file", wish->files, "Scripts")->required();
    command->add_option("--config", wish->configFolder,
                        "Configuration folder [the one a script is in]");
    addCheckOptions(*command, *wish);
}

} // namespace

void addScriptCommands(CLI::App& application, CommandContext& context) {
    CLI::App* const scripts =
        application.add_subcommand("script", "Work on scripts, without a server");
    scripts->fallthrough();
    scripts->require_subcommand(1);
    addCheck(*scripts, context);
    addDryRunCommand(*scripts, context);
}

} // namespace Quarlen::Ctl
