#include "tools/kelctl/commands/SupportCommands.hpp"

#include <filesystem>
#include <memory>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include "platform/FileFacts.hpp"
#include "platform/TextEncoding.hpp"
#include "std_util/SystemInformation.hpp"
#include "tools/kelctl/support/Bundle.hpp"

namespace Quarlen::Ctl {

namespace json = boost::json;

namespace {

struct SupportWish {
    std::string file;
    std::string configFolder;
    std::string tracesFolder;
};

std::filesystem::path pathOf(const std::string& text) {
    return Platform::toPath(Platform::fromUtf8(text));
}

/// That of a server beside this program; empty where there is none.
std::filesystem::path usualConfigFolder() {
    const std::filesystem::path folder = StdUtil::SystemInformation::getConfigPath().path();
    return Platform::isFolder(folder) ? folder : std::filesystem::path();
}

ExitCode bundle(const CommandContext& context, const SupportWish& wish) {
    const auto notes =
        writeBundle({.file = pathOf(wish.file),
                     .place = context.place,
                     .configFolder = wish.configFolder.empty() ? usualConfigFolder()
                                                               : pathOf(wish.configFolder),
                     .tracesFolder = pathOf(wish.tracesFolder)});
    context.out().line(wish.file +
                       " is written. Look into it before you send it: settings, traces and "
                       "reports name the vehicle.");
    json::array missing;
    for (const std::string& note : notes) {
        context.out().line("missing: " + printable(std::string_view(note)));
        missing.emplace_back(note);
    }
    context.out().value({{"file", wish.file}, {"missing", missing}});
    return ExitCode::Done;
}

} // namespace

void addSupportCommands(CLI::App& application, CommandContext& context) {
    CLI::App* const support = application.add_subcommand("support", "Ask for help");
    support->fallthrough();
    support->require_subcommand(1);
    const auto wish = std::make_shared<SupportWish>();
    CLI::App* const command =
        addCommand(*support, context, "bundle", "Pack what a maintainer asks for first",
                   "  kelctl support bundle help.zip\n"
                   "  kelctl support bundle help.zip --config /etc/kel_server",
                   [&context, wish] { return bundle(context, *wish); });
    command->add_option("file", wish->file, "The ZIP file")->required();
    command
        ->add_option("--config", wish->configFolder,
                     "Configuration folder [as kel_server finds it]")
        ->option_text("FOLDER");
    command->add_option("--traces", wish->tracesFolder, "Folder of the traces [the server's]")
        ->option_text("FOLDER");
}

} // namespace Quarlen::Ctl
