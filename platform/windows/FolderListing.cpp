#include "platform/FolderListing.hpp"

#include <memory>
#include <string_view>
#include <windows.h>

#include "platform/windows/ExtendedPath.hpp"
#include "platform/windows/FileError.hpp"

namespace Quarlen::Platform {
namespace {

struct CloseListing {
    void operator()(void* handle) const noexcept { ::FindClose(handle); }
};
using Listing = std::unique_ptr<void, CloseListing>;

Listing begin(const std::filesystem::path& folder, WIN32_FIND_DATAW& entry) {
    void* const opened =
        ::FindFirstFileExW(extendedPath(folder / L"*").c_str(), FindExInfoBasic, &entry,
                           FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH);
    return Listing(opened == INVALID_HANDLE_VALUE ? nullptr : opened);
}

bool isFolderItself(std::wstring_view name) {
    return name == L"." || name == L"..";
}

} // namespace

std::vector<std::filesystem::path> listFolder(const std::filesystem::path& folder,
                                              std::error_code& failure) {
    std::vector<std::filesystem::path> found;
    // With an empty name the search would be in the current folder.
    failure = fileError(ERROR_PATH_NOT_FOUND);
    if (folder.empty()) {
        return found;
    }
    WIN32_FIND_DATAW entry{};
    const Listing listing = begin(folder, entry);
    DWORD end = listing ? ERROR_SUCCESS : ::GetLastError();
    while (end == ERROR_SUCCESS) {
        const std::wstring_view name(&entry.cFileName[0]);
        if (!isFolderItself(name)) {
            found.push_back(folder / name);
        }
        end = ::FindNextFileW(listing.get(), &entry) != 0 ? ERROR_SUCCESS : ::GetLastError();
    }
    // An empty drive has not even the entries for itself.
    const bool isWhole = end == ERROR_NO_MORE_FILES || end == ERROR_FILE_NOT_FOUND;
    failure = isWhole ? std::error_code() : fileError(end);
    return found;
}

} // namespace Quarlen::Platform
