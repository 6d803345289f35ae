#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kel_cpp/base/InterfaceParameters.hpp"
#include "kel_cpp/projects/Project.hpp"
#include "kel_cpp/settings/RuntimeSettings.hpp"
#include "tools/kelctl/check/Finding.hpp"

namespace Quarlen::Ctl {

/// What a project's name leads to.
struct NamedProject {
    /// Null where there is no such project or its file is refused.
    std::shared_ptr<const Kel_cpp::Project> project;
    /// The file is there.
    bool exists = false;
    /// Of the runtime's reader: why there is no project.
    std::wstring fault;
};

/// A configuration folder as the runtime reads it. Each file is read once, so that many scripts can
/// be checked against it.
class ConfigFolder {
public:
    /// Settings that are refused count as missing ones: the defaults hold.
    explicit ConfigFolder(const std::filesystem::path& place);

    [[nodiscard]] std::filesystem::path settingsFile() const { return folder / "KelServer.xml"; }
    [[nodiscard]] std::filesystem::path scriptsFolder() const {
        return folder / "KelServerScripts";
    }
    [[nodiscard]] std::filesystem::path projectsFolder() const;
    [[nodiscard]] std::filesystem::path projectFile(const std::wstring& project) const;
    [[nodiscard]] std::filesystem::path flashFolder() const;

    [[nodiscard]] const Kel_cpp::RuntimeSettings& settings() const { return inEffect; }
    /// Why the settings are refused; empty where they are not.
    [[nodiscard]] const std::wstring& settingsFault() const { return fault; }
    [[nodiscard]] const std::vector<std::wstring>& projectNames() const { return names; }
    [[nodiscard]] const NamedProject& project(const std::wstring& name) const;
    /// The vehicle of the vehicle file.
    [[nodiscard]] bool simulates() const { return enables(Kel_cpp::simulationName); }
    /// A vehicle over Ethernet.
    [[nodiscard]] bool usesDoip() const { return enables(Kel_cpp::doipName); }
    /// Why the file of a session of one of these projects cannot be flashed; empty where it can.
    [[nodiscard]] const std::wstring&
    flashFault(const Kel_cpp::FlashSessionDescription& session) const;
    /// The rule that a fault of that file breaks.
    [[nodiscard]] const char* flashRule(const Kel_cpp::FlashSessionDescription& session) const;

private:
    [[nodiscard]] bool enables(const std::wstring& interfaceName) const;

    std::filesystem::path folder;
    Kel_cpp::RuntimeSettings inEffect;
    std::wstring fault;
    std::vector<std::wstring> names;
    mutable std::map<std::wstring, NamedProject> projects;
    mutable std::map<const Kel_cpp::FlashSessionDescription*, std::wstring> flashFaults;
};

/// Whether a folder looks like one: it has settings, scripts or projects.
bool isConfigFolder(const std::filesystem::path& folder);

/// The configuration folder whose script `file` is: the one that has "KelServerScripts" around the
/// file, and settings or projects. Empty when there is none.
std::filesystem::path configFolderOf(const std::filesystem::path& file);

/// Whether the working folder of the server has another file of the script's name: the server looks
/// there before "KelServerScripts".
bool isShadowed(const std::filesystem::path& script, const std::filesystem::path& name,
                const std::filesystem::path& workingFolder);

/// The absolute name; as it is where the current folder is gone.
std::filesystem::path wholePath(const std::filesystem::path& file);

/// What the server calls the script: its path below "KelServerScripts". Empty for a file that does
/// not lie there.
std::filesystem::path scriptNameOf(const std::filesystem::path& file);

} // namespace Quarlen::Ctl
