#include "platform/FileFacts.hpp"

#include <memory>
#include <windows.h>

#include "platform/windows/ExtendedPath.hpp"
#include "platform/windows/FileError.hpp"

namespace Quarlen::Platform {
namespace {

struct CloseFacts {
    void operator()(void* handle) const noexcept { ::CloseHandle(handle); }
};

std::uint64_t joined(DWORD high, DWORD low) {
    return std::uint64_t{high} << 32U | low;
}

std::chrono::system_clock::time_point timeOf(const FILETIME& time) {
    using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;
    // From 1601 to 1970.
    constexpr std::int64_t epoch = 116'444'736'000'000'000;
    const auto ticks = static_cast<std::int64_t>(joined(time.dwHighDateTime, time.dwLowDateTime));
    return std::chrono::system_clock::time_point(
        std::chrono::duration_cast<std::chrono::system_clock::duration>(Ticks(ticks - epoch)));
}

/// The system tells an open file and a file by its name in two structures with equal names.
template <class Information>
FileFacts factsOf(const Information& found) {
    const bool isAFolder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    return {.kind = isAFolder ? FileKind::Folder : FileKind::Regular,
            .size = joined(found.nFileSizeHigh, found.nFileSizeLow),
            .written = timeOf(found.ftLastWriteTime)};
}

/// For a file that nobody may open, such as one that the system works with.
FileFacts factsByName(const std::wstring& name, std::error_code& failure) {
    WIN32_FILE_ATTRIBUTE_DATA found{};
    if (::GetFileAttributesExW(name.c_str(), GetFileExInfoStandard, &found) == 0 ||
        (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        return {};
    }
    failure.clear();
    return factsOf(found);
}

FileFacts factsOfOpen(HANDLE file, std::error_code& failure) {
    if (::GetFileType(file) != FILE_TYPE_DISK) {
        return {.kind = FileKind::Other};
    }
    BY_HANDLE_FILE_INFORMATION found{};
    if (::GetFileInformationByHandle(file, &found) == 0) {
        failure = lastFileError();
        return {};
    }
    return factsOf(found);
}

} // namespace

FileFacts fileFacts(const std::filesystem::path& path, std::error_code& failure) {
    failure.clear();
    if (fullPath(path).starts_with(L"\\\\.\\")) {
        return {.kind = FileKind::Other};
    }
    const std::wstring name = extendedPath(path);
    void* const opened = ::CreateFileW(name.c_str(), FILE_READ_ATTRIBUTES,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                       nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (opened != INVALID_HANDLE_VALUE) {
        const std::unique_ptr<void, CloseFacts> closed(opened);
        return factsOfOpen(opened, failure);
    }
    const DWORD cause = ::GetLastError();
    failure = fileError(cause);
    return saysMissing(cause) ? FileFacts{.kind = FileKind::Missing} : factsByName(name, failure);
}

/// Symbolic links and junctions have tags that stand for another name. Files that a service keeps
/// elsewhere (cloud folders, deduplicated volumes) are reparse points, too, but no links.
bool isLink(const std::filesystem::path& path) {
    WIN32_FIND_DATAW found{};
    void* const search = ::FindFirstFileExW(extendedPath(path).c_str(), FindExInfoBasic, &found,
                                            FindExSearchNameMatch, nullptr, 0);
    if (search == INVALID_HANDLE_VALUE) {
        return false;
    }
    ::FindClose(search);
    return (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 &&
           IsReparseTagNameSurrogate(found.dwReserved0);
}

} // namespace Quarlen::Platform
