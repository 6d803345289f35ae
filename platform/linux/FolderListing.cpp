#include "platform/FolderListing.hpp"

namespace Quarlen::Platform {

std::vector<std::filesystem::path> listFolder(const std::filesystem::path& folder,
                                              std::error_code& failure) {
    std::vector<std::filesystem::path> found;
    std::filesystem::directory_iterator entry(folder, failure);
    for (; !failure && entry != std::filesystem::directory_iterator(); entry.increment(failure)) {
        found.push_back(entry->path());
    }
    return found;
}

} // namespace Quarlen::Platform
