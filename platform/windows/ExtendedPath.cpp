#include "platform/windows/ExtendedPath.hpp"

#include <windows.h>

#include "platform/WindowsPathText.hpp"

namespace Quarlen::Platform {
namespace {

/// 248 is the least of the system's limits, for making a folder; a listing adds two characters.
constexpr std::size_t shortestExtendedPath = 240;

} // namespace

std::wstring fullPath(const std::filesystem::path& path) {
    const std::wstring asked = plainWindowsPath(path.native());
    std::wstring full;
    // The current folder may change between two calls.
    for (DWORD length = MAX_PATH; length > full.size();) {
        full.resize(length);
        length = ::GetFullPathNameW(asked.c_str(), static_cast<DWORD>(full.size()), full.data(),
                                    nullptr);
        if (length < full.size()) {
            full.resize(length);
        }
    }
    return full;
}

std::wstring extendedPath(const std::filesystem::path& path) {
    const std::wstring& text = path.native();
    if (text.starts_with(L"\\\\?\\")) {
        return text;
    }
    const std::wstring full = fullPath(path);
    if (full.size() < shortestExtendedPath) {
        return text.size() < shortestExtendedPath ? text : full;
    }
    return extendedWindowsPath(full);
}

} // namespace Quarlen::Platform
