#include "platform/AtomicFile.hpp"

#include <algorithm>
#include <atomic>
#include <memory>
#include <string>
#include <system_error>
#include <windows.h>

#include "platform/TextEncoding.hpp"

namespace Quarlen::Platform {
namespace {

constexpr std::size_t maxPathLength = 32768;
constexpr std::size_t maxWriteSize = 1024 * 1024;
/// Milliseconds.
constexpr DWORD betweenAttempts = 1;
constexpr ULONGLONG maxWaitForReaders = 5000;

struct HandleClose {
    void operator()(void* handle) const noexcept { ::CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleClose>;

[[noreturn]] void fail(DWORD cause, const std::filesystem::path& file) {
    throw std::system_error(static_cast<int>(cause), std::system_category(),
                            "cannot write " + toUtf8(file.native()));
}

Handle open(const std::filesystem::path& file, DWORD access, DWORD disposition, DWORD attributes) {
    void* const opened =
        ::CreateFileW(file.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                      nullptr, disposition, attributes, nullptr);
    return Handle(opened == INVALID_HANDLE_VALUE ? nullptr : opened);
}

/// The file that a symbolic link stands for, so that the link itself stays.
std::filesystem::path followLinks(const std::filesystem::path& file) {
    const DWORD attributes = ::GetFileAttributesW(file.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
        return file;
    }
    const Handle handle = open(file, 0, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS);
    if (handle == nullptr) {
        fail(::GetLastError(), file);
    }
    std::wstring path(maxPathLength, L'\0');
    const DWORD length = ::GetFinalPathNameByHandleW(
        handle.get(), path.data(), static_cast<DWORD>(path.size()), FILE_NAME_NORMALIZED);
    path.resize(length < path.size() ? length : 0);
    return path.empty() ? file : std::filesystem::path(path);
}

/// A file that is being read cannot be replaced on Windows unless the reader has allowed it, and
/// most readers do not: this program's own ones, virus scanners. Where only the old file went away,
/// the next attempt finds its place free.
bool isInUse(DWORD failure) {
    return failure == ERROR_SHARING_VIOLATION || failure == ERROR_UNABLE_TO_REMOVE_REPLACED ||
           failure == ERROR_UNABLE_TO_MOVE_REPLACEMENT ||
           failure == ERROR_UNABLE_TO_MOVE_REPLACEMENT_2 || failure == ERROR_ACCESS_DENIED;
}

bool isMissing(const std::filesystem::path& file) {
    return ::GetFileAttributesW(file.c_str()) == INVALID_FILE_ATTRIBUTES;
}

std::wstring uniqueName() {
    static std::atomic<unsigned int> counter{0};
    return L".kel-" + std::to_wstring(::GetCurrentProcessId()) + L"-" + std::to_wstring(++counter) +
           L"-" + std::to_wstring(::GetTickCount64());
}

/// A new file in the target's folder, removed again unless it takes the target's place.
class NewFile {
public:
    explicit NewFile(const std::filesystem::path& target)
        : target(target),
          path(target.parent_path() / uniqueName()),
          handle(open(path, GENERIC_WRITE, CREATE_NEW, FILE_ATTRIBUTE_NORMAL)) {
        if (handle == nullptr) {
            fail(::GetLastError(), target);
        }
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    ~NewFile() {
        handle.reset();
        // The file is kept when it is the only copy: a replacement that failed halfway has removed
        // the target.
        if (!path.empty() && !(replacing && isMissing(target))) {
            ::DeleteFileW(path.c_str());
        }
    }

    void write(std::string_view content) {
        while (!content.empty()) {
            const auto size = static_cast<DWORD>(std::min(content.size(), maxWriteSize));
            DWORD written = 0;
            check(::WriteFile(handle.get(), content.data(), size, &written, nullptr));
            content.remove_prefix(written);
        }
    }

    void moveOverTarget() {
        check(::FlushFileBuffers(handle.get()));
        handle.reset();
        replacing = !isMissing(target);
        DWORD failure = move();
        const ULONGLONG end = ::GetTickCount64() + maxWaitForReaders;
        while (isInUse(failure) && ::GetTickCount64() < end) {
            ::Sleep(betweenAttempts);
            failure = move();
        }
        if (failure != ERROR_SUCCESS) {
            fail(failure, target);
        }
        path.clear();
    }

private:
    /// Makes one attempt and returns the cause of its failure.
    [[nodiscard]] DWORD move() const {
        const DWORD attributes = ::GetFileAttributesW(target.c_str());
        const bool exists = attributes != INVALID_FILE_ATTRIBUTES;
        if (exists && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
            return ERROR_ALREADY_EXISTS;
        }
        // Replacing keeps the target's permissions; it needs a target.
        const BOOL moved =
            exists ? ::ReplaceFileW(target.c_str(), path.c_str(), nullptr, 0, nullptr, nullptr)
                   : ::MoveFileExW(path.c_str(), target.c_str(), MOVEFILE_WRITE_THROUGH);
        return moved != 0 ? ERROR_SUCCESS : ::GetLastError();
    }

    void check(BOOL succeeded) const {
        if (succeeded == 0) {
            fail(::GetLastError(), target);
        }
    }

    const std::filesystem::path& target;
    std::filesystem::path path;
    Handle handle;
    bool replacing = false;
};

} // namespace

void replaceFile(const std::filesystem::path& target, std::string_view content) {
    const std::filesystem::path file = followLinks(target);
    NewFile replacement(file);
    replacement.write(content);
    replacement.moveOverTarget();
}

} // namespace Quarlen::Platform
