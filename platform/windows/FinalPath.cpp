#include "platform/windows/FinalPath.hpp"

#include <memory>
#include <windows.h>

#include "platform/FileFacts.hpp"
#include "platform/WindowsPathText.hpp"
#include "platform/windows/ExtendedPath.hpp"

namespace Quarlen::Platform {
namespace {

constexpr std::size_t maxPathLength = 32768;

struct CloseFile {
    void operator()(void* handle) const noexcept { ::CloseHandle(handle); }
};

} // namespace

std::wstring finalPath(const std::filesystem::path& path) {
    void* const opened = ::CreateFileW(extendedPath(path).c_str(), FILE_READ_ATTRIBUTES,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                       nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (opened == INVALID_HANDLE_VALUE) {
        return {};
    }
    const std::unique_ptr<void, CloseFile> handle(opened);
    std::wstring found(maxPathLength, L'\0');
    const DWORD length = ::GetFinalPathNameByHandleW(
        handle.get(), found.data(), static_cast<DWORD>(found.size()), FILE_NAME_NORMALIZED);
    found.resize(length < found.size() ? length : 0);
    return plainWindowsPath(found);
}

bool leadsThroughLink(const std::filesystem::path& path) {
    for (std::filesystem::path part = path; part.has_relative_path(); part = part.parent_path()) {
        if (isLink(part)) {
            return true;
        }
    }
    return false;
}

std::filesystem::path programPath(const std::filesystem::path& module,
                                  const ModuleQuestions& questions) {
    const std::filesystem::path plain = plainWindowsPath(module.native());
    const std::wstring linked =
        questions.leadsThroughLink(plain) ? questions.finalPath(plain) : std::wstring();
    return linked.empty() ? plain : std::filesystem::path(linked);
}

} // namespace Quarlen::Platform
