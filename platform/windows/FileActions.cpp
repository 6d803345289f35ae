#include "platform/FileActions.hpp"

#include <exception>
#include <system_error>
#include <windows.h>

#include "platform/FileFacts.hpp"
#include "platform/FolderListing.hpp"
#include "platform/windows/ExtendedPath.hpp"
#include "platform/windows/FileError.hpp"
#include "platform/windows/FileReplacement.hpp"

namespace Quarlen::Platform {
namespace {

void throwUnless(BOOL succeeded, const char* what) {
    if (succeeded == 0) {
        throw std::system_error(lastFileError(), what);
    }
}

bool makeFolder(const std::filesystem::path& folder) {
    return ::CreateDirectoryW(extendedPath(folder).c_str(), nullptr) != 0;
}

/// The path is absolute and does not end in a separator.
void makeFolders(const std::filesystem::path& folder) {
    if (isFolder(folder) || makeFolder(folder)) {
        return;
    }
    DWORD cause = ::GetLastError();
    if (cause == ERROR_PATH_NOT_FOUND && folder.parent_path() != folder) {
        makeFolders(folder.parent_path());
        cause = makeFolder(folder) ? ERROR_SUCCESS : ::GetLastError();
    }
    // Somebody else may have made it meanwhile.
    if (cause != ERROR_SUCCESS && !isFolder(folder)) {
        const bool isAFile = cause == ERROR_ALREADY_EXISTS;
        throw std::system_error(fileError(isAFile ? ERROR_DIRECTORY : cause),
                                "cannot create directories");
    }
}

void removeContent(const std::filesystem::path& folder) {
    std::error_code ignored;
    for (const std::filesystem::path& entry : listFolder(folder, ignored)) {
        if (isFolder(entry)) {
            removeFolder(entry);
        } else {
            removeFile(entry);
        }
    }
}

} // namespace

void createFolders(const std::filesystem::path& folder) {
    std::filesystem::path whole = fullPath(folder);
    if (whole.empty()) {
        throw std::system_error(lastFileError(), "cannot create directories");
    }
    makeFolders(whole.has_filename() ? whole : whole.parent_path());
}

void copyFile(const std::filesystem::path& from, const std::filesystem::path& to, Clock& clock) {
    const std::wstring source = extendedPath(from);
    const std::wstring target = extendedPath(to);
    const WindowsError refusal = refusalOf(to);
    const WindowsError failure =
        refusal != ERROR_SUCCESS
            ? refusal
            : repeatWhileInUse(
                  [&] {
                      return ::CopyFileW(source.c_str(), target.c_str(), FALSE) != FALSE
                                 ? DWORD{ERROR_SUCCESS}
                                 : ::GetLastError();
                  },
                  clock);
    if (failure != ERROR_SUCCESS) {
        throw std::system_error(fileError(failure), "cannot copy file");
    }
    // A copy of a read-only file is read-only too, and could be neither flushed nor replaced.
    ::SetFileAttributesW(extendedPath(to).c_str(), FILE_ATTRIBUTE_NORMAL);
}

void renameFile(const std::filesystem::path& from, const std::filesystem::path& to) {
    throwUnless(::MoveFileExW(extendedPath(from).c_str(), extendedPath(to).c_str(),
                              MOVEFILE_REPLACE_EXISTING | MOVEFILE_COPY_ALLOWED),
                "cannot rename");
}

void removeFile(const std::filesystem::path& file) noexcept {
    try {
        ::DeleteFileW(extendedPath(file).c_str());
    } catch (const std::exception&) {
        // Without memory for its name the file stays.
        return;
    }
}

void removeFolder(const std::filesystem::path& folder) noexcept {
    try {
        if (!isLink(folder)) {
            removeContent(folder);
        }
        ::RemoveDirectoryW(extendedPath(folder).c_str());
    } catch (const std::exception&) {
        // Without memory for the names the rest stays.
        return;
    }
}

} // namespace Quarlen::Platform
