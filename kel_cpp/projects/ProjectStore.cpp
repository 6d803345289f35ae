#include "kel_cpp/projects/ProjectStore.hpp"

#include <algorithm>
#include <iterator>
#include <system_error>

#include "kel_cpp/base/RuntimeError.hpp"
#include "platform/FileFacts.hpp"
#include "platform/FileNames.hpp"
#include "platform/FolderListing.hpp"
#include "platform/SystemError.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {

namespace {

std::filesystem::path projectFile(const std::filesystem::path& projectFolder) {
    return projectFolder / "project.xml";
}

bool isProject(const std::filesystem::path& folder) {
    return Platform::isRegularFile(projectFile(folder));
}

bool isMissing(const std::error_code& error) {
    return error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory;
}

} // namespace

std::vector<std::wstring> listProjects(const std::filesystem::path& projectsFolder) {
    std::vector<std::string> names;
    std::error_code error;
    for (const std::filesystem::path& entry : Platform::listFolder(projectsFolder, error)) {
        if (isProject(entry)) {
            names.push_back(Platform::toUtf8(Platform::fromPath(entry.filename())));
        }
    }
    if (error && !isMissing(error)) {
        throw runtimeError(ErrorCode::Configuration, Platform::fromPath(projectsFolder) +
                                                         L": cannot be read: " +
                                                         Platform::errorText(error));
    }
    std::erase(names, std::string());
    std::sort(names.begin(), names.end());

    std::vector<std::wstring> result;
    std::transform(names.begin(), names.end(), std::back_inserter(result), Platform::fromUtf8);
    return result;
}

std::shared_ptr<const Project> loadProject(const std::filesystem::path& projectsFolder,
                                           const std::wstring& name) {
    // Only what the list has: the system opens some folders by other names, too.
    const std::filesystem::path wanted = Platform::toPath(name);
    const auto names = listProjects(projectsFolder);
    const auto listed = std::find_if(names.begin(), names.end(), [&](const std::wstring& each) {
        return Platform::isSameFileName(Platform::toPath(each), wanted);
    });
    if (listed == names.end()) {
        throw runtimeError(ErrorCode::UnknownProject, L"there is no project \"" + name + L"\" in " +
                                                          Platform::fromPath(projectsFolder));
    }
    return readProject(projectFile(projectsFolder / Platform::toPath(*listed)), *listed);
}

} // namespace Quarlen::Kel_cpp
