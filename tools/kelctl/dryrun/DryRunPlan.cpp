#include "tools/kelctl/dryrun/DryRunPlan.hpp"

#include <system_error>

#include "kel_cpp/DataFolders.hpp"
#include "kel_server_lib/sequence/ScriptFile.hpp"
#include "platform/FileFacts.hpp"
#include "platform/Paths.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"
#include "simulation/VehicleFile.hpp"
#include "std_util/SystemInformation.hpp"
#include "tools/kelctl/base/Failure.hpp"
#include "tools/kelctl/dryrun/DerivedVehicle.hpp"
#include "xml/FileError.hpp"

namespace Quarlen::Ctl {

namespace {

std::filesystem::path pathOf(const std::string& text) {
    return Platform::toPath(Platform::fromUtf8(text));
}

bool isFolder(const std::filesystem::path& path) {
    return Platform::isFolder(path);
}

std::filesystem::path absolutePathOf(const std::string& text) {
    std::error_code error;
    std::filesystem::path path = Platform::absolutePath(pathOf(text), error);
    if (error) {
        throw Failure(ExitCode::Refused, "cannot tell where '" + text +
                                             "' is, as the working folder is not known: " +
                                             Platform::toUtf8(Platform::errorText(error)));
    }
    return path;
}

std::wstring scriptNameOf(const DryRunWish& wish) {
    if (wish.script.empty()) {
        throw Failure(ExitCode::WrongUsage, "the name of the script is empty");
    }
    return Platform::fromUtf8(wish.script);
}

std::filesystem::path configFolderFor(const DryRunWish& wish) {
    if (!wish.configFolder.empty()) {
        const std::filesystem::path folder = absolutePathOf(wish.configFolder);
        if (!isFolder(folder)) {
            throw Failure(ExitCode::WrongUsage, "there is no folder " + pathText(folder));
        }
        return folder;
    }
    const std::filesystem::path scripts =
        Platform::normalPath(absolutePathOf(wish.script)).parent_path();
    return scripts.filename() == "KelServerScripts" && isFolder(scripts)
               ? scripts.parent_path()
               : StdUtil::SystemInformation::getConfigPath().path();
}

} // namespace

std::string pathText(const std::filesystem::path& path) {
    return Platform::toUtf8(Platform::fromPath(path));
}

DryRunPlan::DryRunPlan(const DryRunWish& wish)
    : scriptName(scriptNameOf(wish)),
      configFolder(configFolderFor(wish)),
      settings(Kel_cpp::SettingsFile(configFolder).read()) {
    for (const std::string& text : wish.faults) {
        faults.push_back(parsePlannedFault(text));
    }
    readScript();
    readVehicle(wish);
    addFaults(vehicle, faults);
}

void DryRunPlan::readScript() {
    const ScriptFile located = locateScript(StdUtil::PathString(configFolder), scriptName);
    scriptFile = located.path.path();
    isScriptThere = located.found;
    if (!isScriptThere) {
        return;
    }
    try {
        script.emplace(scriptFile);
    } catch (const ScriptTree::TooLarge&) {
        // The server may well load it: the steps have no lines then.
        return;
    }
    if (!script->refusals().empty()) {
        const Xml::Fault& fault = script->refusals().front();
        loadFault = pathText(scriptFile) + ":" + std::to_string(fault.place().line) + ":" +
                    std::to_string(fault.place().column) + ": " + Platform::toUtf8(fault.cause());
        script.reset();
        return;
    }
    constexpr std::size_t actionDepth = 2;
    for (const ScriptElement& element : script->elements()) {
        if (element.depth == actionDepth) {
            lines.push_back(element.place.line);
        }
    }
}

void DryRunPlan::readVehicle(const DryRunWish& wish) {
    if (wish.derivesVehicle) {
        const auto* const root =
            script ? Config::as<Config::CfxKelServerScript>(*script->root()) : nullptr;
        const ProjectFolders folders{Platform::toPath(settings.paths.projectsPath),
                                     settings.dataFolder /
                                         Platform::toPath(Kel_cpp::flashDataFolder)};
        vehicle = root == nullptr ? deriveVehicle({}, L"", folders.flashData)
                                  : deriveVehicle(*root, folders);
        vehicleWords = "derived from the projects of the script";
        return;
    }
    const std::filesystem::path file =
        wish.vehicleFile.empty() ? settings.vehicleFile : pathOf(wish.vehicleFile);
    if (!Platform::isThere(file)) {
        throw Failure(ExitCode::WrongUsage,
                      "there is no vehicle file " + pathText(file) +
                          "; name one with --vehicle, or let --derive-vehicle make a vehicle from "
                          "the projects of the script");
    }
    try {
        vehicle = Simulation::readVehicleFile(file);
    } catch (const Xml::FileError& error) {
        throw Failure(ExitCode::Refused, Platform::toUtf8(error.message()));
    }
    vehicleWords = pathText(file);
}

} // namespace Quarlen::Ctl
