#include "tools/kelctl/commands/RestCommands.hpp"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include "platform/AtomicFile.hpp"
#include "platform/FileActions.hpp"
#include "platform/FileFacts.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/base/Failure.hpp"
#include "tools/kelctl/server/HttpExchange.hpp"
#include "tools/kelctl/server/RestClient.hpp"

namespace Quarlen::Ctl {

namespace json = boost::json;

namespace {

RestClient clientOf(const CommandContext& context) {
    return RestClient(context.place);
}

/// Each member on a line of its own, the names below each other.
void printMembers(Output& out, const json::value& value) {
    std::size_t width = 0;
    for (const auto& member : value.as_object()) {
        width = std::max(width, member.key().size());
    }
    for (const auto& member : value.as_object()) {
        std::string name(member.key().data(), member.key().size());
        name.resize(width + 2, ' ');
        const json::value& shown = member.value();
        out.line(name + (shown.is_string() ? printable(shown) : json::serialize(shown)));
    }
    out.value(value);
}

void addHealth(CLI::App& application, CommandContext& context) {
    addCommand(application, context, "health", "Tell whether the server answers",
               "  kelctl health && echo up\n  kelctl --rest-port 8011 health", [&context] {
                   clientOf(context).require("/health");
                   context.out().line(context.out().coloured(Colour::Good, "ok"));
                   context.out().value({{"health", "ok"}});
                   return ExitCode::Done;
               });
}

void addMembers(CLI::App& application, CommandContext& context, const std::string& name,
                const std::string& description) {
    addCommand(application, context, name, description,
               "  kelctl " + name + "\n  kelctl --json " + name, [&context, name] {
                   printMembers(context.out(), clientOf(context).get("/" + name));
                   return ExitCode::Done;
               });
}

/// A switch of the server. The request and the answer of one route name it differently.
struct Switch {
    std::string name;
    std::string description;
    std::string requested;
    std::string answered;
};

void addSwitch(CLI::App& application, CommandContext& context, const Switch& what) {
    const auto state = std::make_shared<std::string>("show");
    addCommand(application, context, what.name, what.description,
               "  kelctl " + what.name + " show\n  kelctl " + what.name + " on",
               [&context, what, state] {
                   const RestClient client = clientOf(context);
                   if (*state != "show") {
                       client.put("/" + what.name, json::object{{what.requested, *state == "on"}});
                   }
                   const json::value answer = client.get("/" + what.name);
                   context.out().line(answer.at(what.answered).as_bool() ? "on" : "off");
                   context.out().value(answer);
                   return ExitCode::Done;
               })
        ->add_option("state", *state, "What to do [show]")
        ->check(CLI::IsMember({"on", "off", "show"}));
}

void addOtx(CLI::App& application, CommandContext& context) {
    const auto project = std::make_shared<std::string>();
    addCommand(application, context, "otx", "List the procedures of a project",
               "  kelctl otx Car_DEMO0000000042",
               [&context, project] {
                   const json::value answer =
                       clientOf(context).get("/projects/" + percentEncoded(*project) + "/otx");
                   for (const json::value& entry : answer.at("otx").as_array()) {
                       context.out().line(printable(entry.at("vehicleInformation")) + "  " +
                                          printable(entry.at("name")));
                   }
                   context.out().value(answer);
                   return ExitCode::Done;
               })
        ->add_option("project", *project, "Name of the project")
        ->required();
}

/// Somebody may take packages from the folder meanwhile: the file gets its name when it is whole.
void copyPackage(const std::filesystem::path& from, const std::filesystem::path& folder) {
    const auto target = folder / from.filename();
    auto unfinished = target;
    unfinished += ".part";
    try {
        Platform::createFolders(folder);
        Platform::copyFile(from, unfinished);
        Platform::moveOver(unfinished, target);
    } catch (const std::system_error& error) {
        Platform::removeFile(unfinished);
        throw Failure(ExitCode::Refused, Platform::toUtf8(Platform::fromPath(from)) +
                                             " cannot be copied to " +
                                             Platform::toUtf8(Platform::fromPath(folder)) + ": " +
                                             Platform::toUtf8(Platform::errorText(error.code())));
    }
}

/// The name of the package in the server's folder Update.
std::string bringPackage(const CommandContext& context, const RestClient& client,
                         const std::string& package) {
    const auto file = Platform::toPath(Platform::fromUtf8(package));
    if (!file.has_parent_path()) {
        return package;
    }
    if (!context.place.isLocal()) {
        throw Failure(ExitCode::WrongUsage,
                      package + " cannot be copied to another machine; copy it into the server's "
                                "folder Update and give its name alone");
    }
    const json::value paths = client.get("/configurations");
    const auto own = Platform::fromUtf8(std::string(paths.at("ownPath").as_string()));
    const auto folder = Platform::toPath(own);
    if (!Platform::isFolder(folder)) {
        throw Failure(ExitCode::Refused, "the server's folder " + Platform::toUtf8(own) +
                                             " is not on this machine; copy " + package +
                                             " into its folder Update and give the name alone");
    }
    copyPackage(file, folder / "Update");
    return Platform::toUtf8(Platform::fromPath(file.filename()));
}

void addUpdate(CLI::App& application, CommandContext& context) {
    const auto packages = std::make_shared<std::vector<std::string>>();
    addCommand(application, context, "update", "Hand update packages to the runtime",
               "  kelctl update Patch_01.zip Patch_02.zip   # lie in its folder Update already\n"
               "  kelctl update ./Patch_03.zip              # a server on this machine",
               [&context, packages] {
                   const RestClient client = clientOf(context);
                   json::array names;
                   for (const std::string& package : *packages) {
                       names.push_back(
                           json::object{{"patchName", bringPackage(context, client, package)}});
                   }
                   client.put("/update", names);
                   context.out().line("staged");
                   context.out().value(names);
                   return ExitCode::Done;
               })
        ->add_option("package", *packages, "File names in the folder Update, or paths")
        ->required();
}

void addBind(CLI::App& application, CommandContext& context) {
    const auto button = std::make_shared<std::string>();
    const auto script = std::make_shared<std::string>();
    CLI::App* const command = addCommand(
        application, context, "bind", "Bind a script to a button; both then rest",
        "  kelctl bind F1 Flash.xml\n  kelctl bind F2 \"\"     # unbind",
        [&context, button, script] {
            clientOf(context).put("/scripts/" + *button, json::object{{"script", *script}});
            context.out().line(script->empty() ? *button + " has no script"
                                               : *button + " runs " + printable(*script));
            context.out().value({{"button", *button}, {"script", *script}});
            return ExitCode::Done;
        });
    command->add_option("button", *button, "F1 or F2")
        ->required()
        ->check(CLI::IsMember({"F1", "F2"}));
    command->add_option("script", *script, "Script in KelServerScripts, or a path there")
        ->required();
}

void addPut(CLI::App& application, CommandContext& context, const std::string& name,
            const std::string& path, const std::string& description, const std::string& said) {
    addCommand(application, context, name, description, "  kelctl " + name, [&context, path, said] {
        clientOf(context).put(path);
        context.out().line(said);
        context.out().value({{"done", true}});
        return ExitCode::Done;
    });
}

} // namespace

void addRestCommands(CLI::App& application, CommandContext& context) {
    addHealth(application, context);
    addMembers(application, context, "version", "Show the versions that run");
    addMembers(application, context, "configurations", "Show where the server keeps its files");
    addSwitch(application, context, {"tracing", "Switch tracing on or off", "tracing", "tracing"});
    addSwitch(application, context,
              {"simulation", "Switch the simulated vehicle on or off", "enable", "enabled"});
    addOtx(application, context);
    addUpdate(application, context);
    addBind(application, context);
    addPut(application, context, "abort", "/sequence/abort",
           "Cancel the job of the running sequence", "aborted");
    addPut(application, context, "stop", "/stop", "End the server", "the server ends");
}

} // namespace Quarlen::Ctl
