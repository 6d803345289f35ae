#include "tools/kelctl/commands/ConfigCommands.hpp"

#include <memory>
#include <vector>

#include "platform/FileFacts.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/SystemInformation.hpp"
#include "tools/kelctl/check/ConfigCheck.hpp"
#include "tools/kelctl/commands/CheckOutput.hpp"

namespace Quarlen::Ctl {

namespace {

using std::filesystem::path;

struct PlacesToCheck : CheckWish {
    std::vector<std::string> places;
};

/// "config" in the current folder, or the one that a server beside this program uses.
path usualFolder() {
    return isConfigFolder("config") ? path("config")
                                    : StdUtil::SystemInformation::getConfigPath().path();
}

std::vector<path> placesOf(const PlacesToCheck& wish) {
    std::vector<path> places;
    for (const std::string& name : wish.places) {
        places.push_back(Platform::toPath(Platform::fromUtf8(name)));
    }
    return places.empty() ? std::vector<path>{usualFolder()} : places;
}

ExitCode checkPlaces(const CommandContext& context, const PlacesToCheck& wish) {
    const path workingFolder = wish.workingPath();
    CheckedFiles checked;
    for (const path& place : placesOf(wish)) {
        if (Platform::isFolder(place)) {
            checkConfigFolder(place, workingFolder, checked);
        } else {
            checkConfigFile(place, workingFolder, checked);
        }
    }
    return tellFindings(context, wish, checked.findings, checked.count);
}

} // namespace

void addConfigCommands(CLI::App& application, CommandContext& context) {
    CLI::App* const config =
        application.add_subcommand("config", "Work on a configuration, without a server");
    config->fallthrough();
    config->require_subcommand(1);
    const auto wish = std::make_shared<PlacesToCheck>();
    CLI::App* const command =
        addCommand(*config, context, "check", "Tell what is wrong with a folder or its files",
                   "  kelctl config check\n"
                   "  kelctl config check /etc/kel_server --format sarif\n"
                   "  kelctl config check config/KelServer.xml config/vehicle.xml\n\n"
                   "Without a place it is the folder config, or else the server's own one.\n"
                   "--json gives SARIF. Exit code 4: there are errors or warnings.",
                   [&context, wish] { return checkPlaces(context, *wish); });
    command->add_option("place", wish->places, "Folders or single files");
    addCheckOptions(*command, *wish);
}

} // namespace Quarlen::Ctl
