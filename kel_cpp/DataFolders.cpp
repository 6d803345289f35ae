#include "kel_cpp/DataFolders.hpp"

#include <algorithm>
#include <system_error>
#include <vector>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Kel_cpp {

namespace {

using std::filesystem::path;

enum class EntryKind { Folder, RegularFile };

bool isKind(const std::filesystem::directory_entry& entry, EntryKind kind) {
    std::error_code ignored;
    return kind == EntryKind::Folder ? entry.is_directory(ignored) : entry.is_regular_file(ignored);
}

/// Entries of one kind, sorted; empty when the folder cannot be read.
std::vector<path> entriesOf(const path& folder, EntryKind kind) {
    std::vector<path> found;
    std::error_code failure;
    std::filesystem::directory_iterator entry(folder, failure);
    for (; !failure && entry != std::filesystem::directory_iterator(); entry.increment(failure)) {
        if (isKind(*entry, kind)) {
            found.push_back(entry->path());
        }
    }
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
    for (const path& file : entriesOf(folder, EntryKind::RegularFile)) {
        record->files.push_back(dataFile(file));
    }
    return record;
}

} // namespace

RecordList<DataFolder> listDataFolders(const path& dataPath) {
    RecordList<DataFolder> folders;
    const path start = dataPath.empty() ? dataPath : std::filesystem::absolute(dataPath);
    for (const path& folder : entriesOf(start, EntryKind::Folder)) {
        folders.push_back(dataFolder(folder));
    }
    return folders;
}

} // namespace Quarlen::Kel_cpp
