#include "platform/AtomicFile.hpp"

#include <algorithm>
#include <memory>
#include <string>
#include <system_error>

// The second header needs the first.
// clang-format off
#include <windows.h>
#include <aclapi.h>
// clang-format on

#include "platform/TextEncoding.hpp"
#include "platform/UnfinishedFiles.hpp"
#include "platform/windows/ExtendedPath.hpp"
#include "platform/windows/FileReplacement.hpp"

namespace Quarlen::Platform {
namespace {

constexpr std::size_t maxPathLength = 32768;
constexpr std::size_t maxWriteSize = 1024 * 1024;

struct HandleClose {
    void operator()(void* handle) const noexcept { ::CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleClose>;

[[noreturn]] void fail(DWORD cause, const std::filesystem::path& file) {
    throw std::system_error(static_cast<int>(cause), std::system_category(),
                            "cannot write " + toUtf8(file.native()));
}

Handle open(const std::filesystem::path& file, DWORD access, DWORD disposition, DWORD attributes) {
    void* const opened = ::CreateFileW(extendedPath(file).c_str(), access,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                       nullptr, disposition, attributes, nullptr);
    return Handle(opened == INVALID_HANDLE_VALUE ? nullptr : opened);
}

struct LocalMemoryFree {
    void operator()(void* memory) const noexcept { ::LocalFree(memory); }
};

/// Gives a file the permissions of another one, as far as there are any and the user may: not on
/// every file system, nor on every share. Its owner stays, which only administrators can change.
void takePermissions(const std::filesystem::path& file, const std::filesystem::path& former) {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (::GetNamedSecurityInfoW(extendedPath(former).c_str(), SE_FILE_OBJECT,
                                DACL_SECURITY_INFORMATION, nullptr, nullptr, nullptr, nullptr,
                                &descriptor) != ERROR_SUCCESS) {
        return;
    }
    const std::unique_ptr<void, LocalMemoryFree> owned(descriptor);
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    if (::GetSecurityDescriptorControl(descriptor, &control, &revision) != FALSE &&
        (control & SE_DACL_AUTO_INHERITED) != 0) {
        // What the file has from its folder follows the folder's permissions from then on as well.
        ::SetSecurityDescriptorControl(descriptor, SE_DACL_AUTO_INHERIT_REQ,
                                       SE_DACL_AUTO_INHERIT_REQ);
    }
    // Taken as it is, unlike by SetNamedSecurityInfo, which adds the folder's.
    ::SetFileSecurityW(extendedPath(file).c_str(), DACL_SECURITY_INFORMATION, descriptor);
}

/// A new file in the target's folder, removed again unless it takes the target's place.
class NewFile {
public:
    explicit NewFile(const std::filesystem::path& target)
        : target(target),
          names(target),
          path(names.partial),
          handle(open(path, GENERIC_WRITE, CREATE_NEW, FILE_ATTRIBUTE_NORMAL)) {
        if (handle == nullptr) {
            fail(::GetLastError(), target);
        }
        // Before the content is written, which others may not be allowed to read.
        takePermissions(path, target);
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    ~NewFile() {
        handle.reset();
        if (!path.empty()) {
            ::DeleteFileW(extendedPath(path).c_str());
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

    void moveOverTarget(Clock& clock) {
        check(::FlushFileBuffers(handle.get()));
        handle.reset();
        requireSuccess(moveFileOver(path, names.complete, clock));
        path = names.complete;
        requireSuccess(moveFileOver(path, target, clock));
        path.clear();
    }

private:
    void requireSuccess(WindowsError error) const {
        if (error != ERROR_SUCCESS) {
            fail(error, target);
        }
    }

    void check(BOOL succeeded) const {
        requireSuccess(succeeded != FALSE ? ERROR_SUCCESS : ::GetLastError());
    }

    const std::filesystem::path& target;
    const UnfinishedFile names;
    /// The name that the file has now; empty once it is the target.
    std::filesystem::path path;
    Handle handle;
};

} // namespace

std::filesystem::path followLinks(std::filesystem::path file) {
    const DWORD attributes = ::GetFileAttributesW(extendedPath(file).c_str());
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

void replaceFile(const std::filesystem::path& target, std::string_view content, Clock& clock) {
    const std::filesystem::path file = followLinks(target);
    const WindowsError refusal = refusalOf(file);
    if (refusal != ERROR_SUCCESS) {
        fail(refusal, file);
    }
    NewFile replacement(file);
    replacement.write(content);
    replacement.moveOverTarget(clock);
}

void moveOver(const std::filesystem::path& file, const std::filesystem::path& target,
              Clock& clock) {
    const WindowsError failure = moveFileOver(file, target, clock);
    if (failure != ERROR_SUCCESS) {
        fail(failure, target);
    }
}

} // namespace Quarlen::Platform
