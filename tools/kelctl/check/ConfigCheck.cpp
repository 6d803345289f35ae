#include "tools/kelctl/check/ConfigCheck.hpp"

#include <algorithm>
#include <optional>
#include <system_error>
#include <utility>

#include "config/ScriptReader.hpp"
#include "kel_cpp/projects/ProjectStore.hpp"
#include "kel_cpp/settings/SettingsReader.hpp"
#include "kel_server_lib/runtime/KelApiException.hpp"
#include "platform/FileFacts.hpp"
#include "platform/FolderListing.hpp"
#include "platform/TextEncoding.hpp"
#include "simulation/VehicleCheck.hpp"
#include "simulation/VehicleFile.hpp"
#include "tools/kelctl/check/FindingList.hpp"
#include "tools/kelctl/check/ProjectCheck.hpp"
#include "tools/kelctl/check/ScriptCheck.hpp"
#include "tools/kelctl/check/ScriptNames.hpp"
#include "tools/kelctl/check/SettingsCheck.hpp"
#include "xml/FileBytes.hpp"
#include "xml/FileError.hpp"
#include "xml/Limits.hpp"
#include "xml/Parser.hpp"

namespace Quarlen::Ctl {

namespace {

using std::filesystem::path;

/// Nobody has as many; a folder of something else is not gone through for ever.
constexpr std::size_t maxScripts = 10'000;
constexpr const char* doesNotLoad = "does-not-load";
constexpr const wchar_t* noStart = L"the server does not start";
constexpr const wchar_t* noSelection = L"no script can select the project";
constexpr const wchar_t* noVehicle = L"the simulated vehicle cannot be connected";

std::vector<Finding> refused(const std::wstring& message, const path& file,
                             const wchar_t* consequence) {
    return {findingOf(message, file, Severity::Error, doesNotLoad, consequence)};
}

/// The links of the simulated vehicle; nothing when its file is refused.
std::optional<Names> checkVehicle(const path& file, CheckedFiles& checked) {
    checked.add({});
    try {
        Names links;
        FindingList findings(shownName(file));
        for (const auto& unit : Simulation::readVehicleFile(file).controlUnits) {
            links.push_back(unit.link);
            for (auto& sentence : Simulation::impossibleStatuses(unit)) {
                findings.warning("impossible-status", {}, std::move(sentence));
            }
        }
        for (auto& finding : findings.sorted()) {
            checked.findings.push_back(std::move(finding));
        }
        return links;
    } catch (const Xml::FileError& error) {
        checked.findings.push_back(refused(error.message(), file, noVehicle).front());
        return std::nullopt;
    }
}

void checkProjects(const ConfigFolder& folder, const std::optional<Names>& links,
                   CheckedFiles& checked) {
    for (const std::wstring& name : folder.projectNames()) {
        const NamedProject& named = folder.project(name);
        checked.add(named.project ? checkProject(folder, name, links)
                                  : refused(named.fault, folder.projectFile(name), noSelection));
    }
}

bool isScriptName(const path& file) {
    constexpr std::string_view wanted = ".xml";
    const path ending = file.extension();
    const auto& letters = ending.native();
    return std::equal(letters.begin(), letters.end(), wanted.begin(), wanted.end(),
                      [](auto letter, char lower) { return (letter | 0x20) == lower; });
}

/// Also deeper in the folder; links to folders are not followed.
std::vector<path> scriptsIn(const path& folder) {
    std::vector<path> scripts;
    std::vector<path> folders{folder};
    while (!folders.empty() && scripts.size() <= maxScripts) {
        const path next = std::move(folders.back());
        folders.pop_back();
        std::error_code ignored;
        for (const path& entry : Platform::listFolder(next, ignored)) {
            const bool isFolder = Platform::isFolder(entry);
            if (isFolder && !Platform::isLink(entry)) {
                folders.push_back(entry);
            } else if (!isFolder && isScriptName(entry) && scripts.size() <= maxScripts) {
                scripts.push_back(entry);
            }
        }
    }
    std::sort(scripts.begin(), scripts.end());
    return scripts;
}

void checkScripts(const ConfigFolder& folder, const path& workingFolder, CheckedFiles& checked) {
    std::vector<path> scripts = scriptsIn(folder.scriptsFolder());
    if (scripts.size() > maxScripts) {
        scripts.pop_back();
        FindingList findings(shownName(folder.scriptsFolder()));
        findings.error("cannot-read", {},
                       L"there are more than " + std::to_wstring(maxScripts) +
                           L" scripts: the others are not checked");
        checked.findings.push_back(findings.sorted().front());
    }
    for (const path& script : scripts) {
        checked.add(checkScript(shownPath(script), {&folder, workingFolder}));
    }
}

void checkSettingsFile(const ConfigFolder& folder, const path& workingFolder,
                       CheckedFiles& checked) {
    if (!Platform::isThere(folder.settingsFile())) {
        FindingList findings(shownName(folder.settingsFile()));
        findings.warning("no-settings", {}, L"there is no such file: the defaults hold");
        checked.findings.push_back(findings.sorted().front());
    } else if (folder.settingsFault().empty()) {
        checked.add(checkSettings(folder, workingFolder));
    } else {
        checked.add(checkSettingsLoad(folder));
    }
}

/// Learns the name of the root element, and ends the reading with it.
class RootReader final : public Xml::Receiver {
public:
    struct Done {
        std::string name;
    };
    void begin(std::string_view element, const Xml::Attributes& /*attributes*/) override {
        throw Done{std::string(element)};
    }
};

/// What the file is by its root element, or, where that cannot be read, by its name.
std::string kindOf(const path& file) {
    RootReader reader;
    try {
        Xml::Parser parser(reader, Config::ScriptReader::limits);
        Xml::readFile(file, Xml::Limits::none, [&](std::string_view part) { parser.feed(part); });
    } catch (const RootReader::Done& root) {
        return root.name;
    } catch (const Xml::Fault&) {
        // Whoever reads the file as what its name says tells why.
    }
    const path name = file.filename();
    return name == "KelServer.xml" ? "KelServer"
           : name == "project.xml" ? "Project"
           : name == "vehicle.xml" ? "Vehicle"
                                   : "KelServerScript";
}

std::vector<Finding> checkSettingsText(const path& file) {
    using namespace Kel_cpp;
    try {
        (void)SettingsReader::read(
            Xml::File(file, SettingsReader::rootElement, SettingsReader::limits),
            file.parent_path());
        return {};
    } catch (const Xml::FileError& error) {
        return refused(error.message(), file, noStart);
    }
}

/// A project in the folder of a configuration is checked against that.
std::vector<Finding> checkProjectText(const path& file) {
    const path place = wholePath(file);
    const ConfigFolder folder(place.parent_path().parent_path().parent_path());
    const std::wstring name = Platform::fromPath(place.parent_path().filename());
    if (folder.projectFile(name) == place && folder.project(name).project) {
        CheckedFiles vehicle;
        const auto links = folder.simulates() ? checkVehicle(folder.settings().vehicleFile, vehicle)
                                              : std::optional<Names>();
        return checkProject(folder, name, links);
    }
    try {
        (void)Kel_cpp::readProject(file, name);
        return {};
    } catch (const Kel_cpp::KelApiException& error) {
        return refused(error.message(), file, noSelection);
    }
}

std::vector<Finding> checkAsScript(const path& file, const path& workingFolder) {
    const path place = configFolderOf(file);
    if (place.empty()) {
        return checkScript(shownPath(file), {nullptr, workingFolder});
    }
    const ConfigFolder folder(place);
    return checkScript(shownPath(file), {&folder, workingFolder});
}

} // namespace

void CheckedFiles::add(const std::vector<Finding>& more) {
    findings.insert(findings.end(), more.begin(), more.end());
    ++count;
}

std::vector<Finding> checkSettingsLoad(const ConfigFolder& folder) {
    return folder.settingsFault().empty()
               ? std::vector<Finding>()
               : refused(folder.settingsFault(), folder.settingsFile(), noStart);
}

void checkConfigFolder(const path& place, const path& workingFolder, CheckedFiles& checked) {
    const ConfigFolder folder(place);
    checkSettingsFile(folder, workingFolder, checked);
    const auto links = folder.simulates() ? checkVehicle(folder.settings().vehicleFile, checked)
                                          : std::optional<Names>();
    checkProjects(folder, links, checked);
    checkScripts(folder, workingFolder, checked);
}

void checkConfigFile(const path& file, const path& workingFolder, CheckedFiles& checked) {
    if (const auto unreadable = checkReadable(file); !unreadable.empty()) {
        checked.add(unreadable);
        return;
    }
    const std::string kind = kindOf(file);
    if (kind == "Vehicle") {
        (void)checkVehicle(file, checked);
    } else if (kind == "Project") {
        checked.add(checkProjectText(file));
    } else if (kind == "KelServer" && file.filename() == "KelServer.xml") {
        checkSettingsFile(ConfigFolder(file.parent_path()), workingFolder, checked);
    } else if (kind == "KelServer") {
        checked.add(checkSettingsText(file));
    } else {
        checked.add(checkAsScript(file, workingFolder));
    }
}

} // namespace Quarlen::Ctl
