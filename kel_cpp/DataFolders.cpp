#include "kel_cpp/DataFolders.hpp"

#include <algorithm>
#include <system_error>
#include <vector>

#include "platform/FileFacts.hpp"
#include "platform/FolderListing.hpp"
#include "platform/Paths.hpp"
#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {

namespace {

using std::filesystem::path;

/// Entries of one kind, sorted; empty when the folder cannot be read.
std::vector<path> entriesOf(const path& folder, bool (*isKind)(const path& entry)) {
    std::error_code ignored;
    std::vector<path> found = Platform::listFolder(folder, ignored);
    std::erase_if(found, [isKind](const path& entry) { return !isKind(entry); });
    std::sort(found.begin(), found.end());
    return found;
}

std::shared_ptr<DataFile> dataFile(const path& file) {
    auto record = std::make_shared<DataFile>();
    record->path = Platform::fromPath(file);
    record->present = true;
    return record;
}

std::shared_ptr<DataFolder> dataFolder(const path& folder) {
    auto record = std::make_shared<DataFolder>();
    record->name = Platform::fromPath(folder.filename());
    for (const path& file : entriesOf(folder, &Platform::isRegularFile)) {
        record->files.push_back(dataFile(file));
    }
    return record;
}

} // namespace

RecordList<DataFolder> listDataFolders(const path& dataPath) {
    RecordList<DataFolder> folders;
    const path start = dataPath.empty() ? dataPath : Platform::absolutePath(dataPath);
    for (const path& folder : entriesOf(start, &Platform::isFolder)) {
        folders.push_back(dataFolder(folder));
    }
    return folders;
}

} // namespace Quarlen::Kel_cpp
