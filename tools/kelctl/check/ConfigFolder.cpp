#include "tools/kelctl/check/ConfigFolder.hpp"

#include <algorithm>
#include <system_error>

#include "kel_cpp/DataFolders.hpp"
#include "kel_cpp/jobs/FlashFile.hpp"
#include "kel_cpp/projects/ProjectStore.hpp"
#include "kel_cpp/settings/SettingsReader.hpp"
#include "kel_server_lib/runtime/KelApiException.hpp"
#include "platform/FileFacts.hpp"
#include "platform/FileNames.hpp"
#include "platform/Paths.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Ctl {

namespace {

using std::filesystem::path;

constexpr const char* scriptsName = "KelServerScripts";

bool isThere(const path& file) {
    return Platform::isThere(file);
}

/// The folder "KelServerScripts" around a file; empty when there is none.
path scriptsFolderAround(const path& file) {
    path at = wholePath(file).parent_path();
    while (at.has_relative_path() && at.filename() != scriptsName) {
        at = at.parent_path();
    }
    return at.filename() == scriptsName ? at : path();
}

} // namespace

ConfigFolder::ConfigFolder(const path& place)
    : folder(wholePath(place)), inEffect(Kel_cpp::SettingsReader::defaults(folder)) {
    try {
        if (isThere(settingsFile())) {
            inEffect = Kel_cpp::SettingsFile(folder).read();
        }
    } catch (const Kel_cpp::KelApiException& refusal) {
        fault = refusal.message();
    }
    try {
        names = Kel_cpp::listProjects(projectsFolder());
    } catch (const Kel_cpp::KelApiException&) {
        names.clear(); // A folder that nobody may read has no project that could be selected.
    }
}

path ConfigFolder::projectsFolder() const {
    return Platform::toPath(inEffect.paths.projectsPath);
}

path ConfigFolder::projectFile(const std::wstring& project) const {
    return projectsFolder() / Platform::toPath(project) / "project.xml";
}

path ConfigFolder::flashFolder() const {
    return inEffect.dataFolder / Platform::toPath(Kel_cpp::flashDataFolder);
}

const NamedProject& ConfigFolder::project(const std::wstring& name) const {
    const auto [entry, isNew] = projects.try_emplace(name);
    NamedProject& named = entry->second;
    if (isNew) {
        const path wanted = Platform::toPath(name);
        named.exists = std::any_of(names.begin(), names.end(), [&](const std::wstring& each) {
            return Platform::isSameFileName(Platform::toPath(each), wanted);
        });
        try {
            named.project = Kel_cpp::loadProject(projectsFolder(), name);
        } catch (const Kel_cpp::KelApiException& refusal) {
            named.fault = refusal.message();
        }
    }
    return named;
}

const char* ConfigFolder::flashRule(const Kel_cpp::FlashSessionDescription& session) const {
    return isThere(flashFolder() / Platform::toPath(session.file)) ? "wrong-flash-file"
                                                                   : "missing-flash-file";
}

const std::wstring&
ConfigFolder::flashFault(const Kel_cpp::FlashSessionDescription& session) const {
    const auto [entry, isNew] = flashFaults.try_emplace(&session);
    if (isNew) {
        try {
            Kel_cpp::checkFlashFile(Kel_cpp::readFlashFile(flashFolder(), session.file), session);
        } catch (const Kel_cpp::FlashError& refusal) {
            entry->second = refusal.message();
        }
    }
    return entry->second;
}

bool ConfigFolder::enables(const std::wstring& interfaceName) const {
    const auto isEnabled = [&](const auto& entry) {
        return entry->enabled && entry->name == interfaceName;
    };
    return std::any_of(inEffect.interfaces.groups.begin(), inEffect.interfaces.groups.end(),
                       [&](const auto& group) {
                           return std::any_of(group->interfaces.begin(), group->interfaces.end(),
                                              isEnabled);
                       });
}

bool isConfigFolder(const path& folder) {
    return isThere(folder / "KelServer.xml") || isThere(folder / "projects") ||
           isThere(folder / scriptsName);
}

path configFolderOf(const path& file) {
    const path scripts = scriptsFolderAround(file);
    const path folder = scripts.parent_path();
    const bool isOne =
        !scripts.empty() && (isThere(folder / "KelServer.xml") || isThere(folder / "projects"));
    return isOne ? folder : path();
}

path scriptNameOf(const path& file) {
    const path scripts = scriptsFolderAround(file);
    return scripts.empty() ? path() : wholePath(file).lexically_relative(scripts);
}

path wholePath(const path& file) {
    std::error_code failure;
    const path whole = Platform::absolutePath(file, failure);
    return Platform::normalPath(failure ? file : whole);
}

bool isShadowed(const path& script, const path& name, const path& workingFolder) {
    const path other = Platform::joinedPath(workingFolder, name);
    return Platform::isRegularFile(other) &&
           !Platform::isSameFileName(Platform::resolvedPath(other), Platform::resolvedPath(script));
}

} // namespace Quarlen::Ctl
