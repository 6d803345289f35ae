#include "tools/kelctl/check/SettingsCheck.hpp"

#include <algorithm>
#include <system_error>

#include "kel_cpp/base/InterfaceParameters.hpp"
#include "platform/FileFacts.hpp"
#include "platform/FileNames.hpp"
#include "platform/FolderListing.hpp"
#include "platform/Paths.hpp"
#include "platform/TextEncoding.hpp"
#include "tools/kelctl/check/FileFindings.hpp"
#include "tools/kelctl/check/FindingList.hpp"
#include "tools/kelctl/check/ScriptNames.hpp"
#include "tools/kelctl/check/Suggestion.hpp"
#include "tools/kelctl/check/TokenFileCheck.hpp"

namespace Quarlen::Ctl {

namespace {

using std::filesystem::path;

bool isFile(const path& file) {
    return Platform::isTakenLiterally(file) && Platform::isRegularFile(file);
}

Names scriptNames(const path& folder) {
    Names names;
    std::error_code ignored;
    for (const path& entry : Platform::listFolder(folder, ignored)) {
        names.push_back(Platform::fromPath(entry.filename()));
    }
    return names;
}

Names enabledInterfaces(const Kel_cpp::RuntimeSettings& settings) {
    Names names;
    for (const auto& group : settings.interfaces.groups) {
        for (const auto& entry : group->interfaces) {
            if (entry->enabled) {
                names.push_back(entry->name);
            }
        }
    }
    return names;
}

/// Goes over the sections of KelServer.xml.
class SettingsCheck {
public:
    SettingsCheck(const ConfigFolder& folder, path workingFolder)
        : folder(folder),
          workingFolder(std::move(workingFolder)),
          findings(folder.settingsFile(), "KelServer") {}

    std::vector<Finding> run();

private:
    void checkSequence(const char* element, const std::wstring& name);
    void checkInterfaces();
    void checkFolder(const char* element, const path& place, Severity whenMissing);
    void checkTokens();

    const ConfigFolder& folder;
    path workingFolder;
    FileFindings findings;
};

std::vector<Finding> SettingsCheck::run() {
    const auto& settings = folder.settings();
    checkSequence("StartSequence", settings.serverConfiguration.startSequence);
    checkSequence("F1Sequence", settings.serverConfiguration.f1Sequence);
    checkSequence("F2Sequence", settings.serverConfiguration.f2Sequence);
    checkFolder("Projects", folder.projectsFolder(), Severity::Error);
    checkFolder("Data", settings.dataFolder, Severity::Warning);
    checkFolder("Reports", Platform::toPath(settings.paths.reportsPath), Severity::Warning);
    checkFolder("Traces", Platform::toPath(settings.paths.tracesPath), Severity::Warning);
    checkInterfaces();
    checkTokens();
    return findings.all();
}

/// The server takes a file of that name in its working folder first.
void SettingsCheck::checkSequence(const char* element, const std::wstring& name) {
    const path file = Platform::toPath(name);
    const path script = folder.scriptsFolder() / file.relative_path();
    const bool isElsewhere = isShadowed(script, file, workingFolder);
    if (name.empty() || (isFile(script) && !isElsewhere)) {
        return;
    }
    const auto node = findings.root().child(element);
    if (!isElsewhere) {
        findings.add(Severity::Error, "missing-script", node,
                     L"there is no script " + quotedName(name) + L" in " +
                         shownName(folder.scriptsFolder()),
                     L"there is " + alternativesTo(name, scriptNames(folder.scriptsFolder())));
    } else if (!Platform::isAbsolutePath(file)) {
        findings.add(Severity::Warning, "shadowed-script", node,
                     L"a server that is started in " + Platform::fromPath(workingFolder) +
                         L" runs its file " + quotedName(name),
                     L"rename one of them, or start the server in another folder");
    }
}

/// The runtime makes the folders that it writes into.
void SettingsCheck::checkFolder(const char* element, const path& place, Severity whenMissing) {
    std::error_code ignored;
    const auto kind = Platform::fileFacts(place, ignored).kind;
    const auto node = findings.root().child("Paths").child(element);
    const bool isWritten =
        node && (std::string_view(element) == "Reports" || std::string_view(element) == "Traces");
    if (kind == Platform::FileKind::Folder) {
        return;
    }
    if (kind != Platform::FileKind::Missing) {
        findings.add(Severity::Error, "missing-folder", node, shownName(place) + L" is no folder");
    } else if (!isWritten && (node || whenMissing == Severity::Error)) {
        findings.add(whenMissing, "missing-folder", node,
                     L"there is no folder " + shownName(place));
    }
}

void SettingsCheck::checkInterfaces() {
    const auto section = findings.root().child("Interfaces");
    const Names enabled = enabledInterfaces(folder.settings());
    if (enabled.empty()) {
        findings.add(Severity::Error, "no-interface", section,
                     L"no vehicle communication interface is enabled: no vehicle can be connected",
                     L"<Interface name=\"Simulation\" enabled=\"true\"/>");
    }
    const auto unknown = std::find_if(enabled.begin(), enabled.end(), [](const auto& name) {
        return name != Kel_cpp::simulationName && name != Kel_cpp::doipName;
    });
    if (unknown != enabled.end()) {
        findings.add(Severity::Error, "unknown-interface", section,
                     L"the runtime has no interface " + quotedName(*unknown) +
                         L": no vehicle can be connected while it is enabled",
                     L"there are " + std::wstring(Kel_cpp::simulationName) + L" and " +
                         Kel_cpp::doipName);
    } else if (enabled.size() > 1) {
        findings.add(Severity::Warning, "several-interfaces", section,
                     L"several interfaces are enabled: only the first is used");
    }
}

void SettingsCheck::checkTokens() {
    const path& file = folder.settings().tokenFile;
    if (const std::wstring fault = file.empty() ? L"" : tokenFileFault(file); !fault.empty()) {
        findings.add(Severity::Error, "token-file", findings.root().child("Access"),
                     L"nobody on another machine can log in: " + shownName(file) + L": " + fault,
                     L"kelctl token create makes one");
    }
}

} // namespace

std::vector<Finding> checkSettings(const ConfigFolder& folder, const path& workingFolder) {
    return SettingsCheck(folder, workingFolder).run();
}

} // namespace Quarlen::Ctl
