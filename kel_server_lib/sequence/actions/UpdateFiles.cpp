#include "kel_server_lib/sequence/actions/UpdateFiles.hpp"

#include <algorithm>
#include <string>
#include <vector>

#include "std_util/FileTool.hpp"

namespace Quarlen {

namespace {

constexpr std::int32_t flashFolderKind = 1;

std::shared_ptr<Kel_cpp::DataFolder> flashFolder(Kel_cpp::KelApi& api) {
    Kel_cpp::RecordList<Kel_cpp::DataFolder> folders;
    api.getDataFolders(folders, flashFolderKind);
    const auto found = std::find_if(folders.begin(), folders.end(), [](const auto& folder) {
        return folder->name == L"flashdata";
    });
    return found == folders.end() ? nullptr : *found;
}

bool isUpdateContainer(const std::wstring& path) {
    const std::int32_t type = StdUtil::FileTool::getFileType(StdUtil::PathString(path));
    return type == StdUtil::FileTool::fileTypeZip || type == StdUtil::FileTool::fileTypePdx;
}

std::vector<std::wstring> updateContainers(const Kel_cpp::DataFolder& folder) {
    std::vector<std::wstring> paths;
    for (const auto& file : folder.files) {
        if (file->present && isUpdateContainer(file->path)) {
            paths.push_back(file->path);
        }
    }
    return paths;
}

} // namespace

void prepareUpdateFiles(Kel_cpp::KelApi& api) {
    const auto folder = flashFolder(api);
    if (!folder) {
        return;
    }
    const auto paths = updateContainers(*folder);
    if (!paths.empty()) {
        Kel_cpp::RecordList<Kel_cpp::UpdateDescription> unread;
        api.prepareUpdatePackages(paths, unread);
    }
}

} // namespace Quarlen
