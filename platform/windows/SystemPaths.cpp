#include "platform/SystemPaths.hpp"

#include <memory>

// The system's main header must come before all others.
// clang-format off
#include <windows.h>
#include <objbase.h>
#include <knownfolders.h>
#include <shlobj.h>
// clang-format on

namespace Quarlen::Platform {
namespace {

constexpr std::size_t maxPathLength = 32768;

struct TaskMemoryFree {
    void operator()(wchar_t* memory) const noexcept { ::CoTaskMemFree(memory); }
};

struct HandleClose {
    void operator()(void* handle) const noexcept { ::CloseHandle(handle); }
};

std::wstring modulePath() {
    std::wstring path(maxPathLength, L'\0');
    const DWORD length =
        ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    path.resize(length < path.size() ? length : 0);
    return path;
}

/// The file's own path with links resolved; empty when it cannot be had.
std::wstring finalPath(const std::wstring& file) {
    void* opened = ::CreateFileW(file.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                 OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (opened == INVALID_HANDLE_VALUE) {
        return {};
    }
    const std::unique_ptr<void, HandleClose> handle(opened);
    std::wstring path(maxPathLength, L'\0');
    const DWORD length = ::GetFinalPathNameByHandleW(
        handle.get(), path.data(), static_cast<DWORD>(path.size()), FILE_NAME_NORMALIZED);
    path.resize(length < path.size() ? length : 0);
    return path;
}

/// The path without the prefix that only system calls understand.
std::wstring withoutDevicePrefix(std::wstring path) {
    const std::wstring share = L"\\\\?\\UNC\\";
    const std::wstring device = L"\\\\?\\";
    if (path.starts_with(share)) {
        return L"\\\\" + path.substr(share.size());
    }
    return path.starts_with(device) ? path.substr(device.size()) : path;
}

} // namespace

std::filesystem::path executablePath() {
    const std::wstring module = modulePath();
    const std::wstring resolved = withoutDevicePrefix(finalPath(module));
    return resolved.empty() ? module : resolved;
}

std::filesystem::path systemConfigFolder() {
    wchar_t* found = nullptr;
    const HRESULT result = ::SHGetKnownFolderPath(FOLDERID_ProgramData, 0, nullptr, &found);
    const std::unique_ptr<wchar_t, TaskMemoryFree> folder(found);
    if (FAILED(result)) {
        return L"C:\\ProgramData\\kel_server";
    }
    return std::filesystem::path(folder.get()) / L"kel_server";
}

} // namespace Quarlen::Platform
