#include "platform/FileViewer.hpp"

#include <cstdint>
#include <windows.h>

// Needs the header above.
#include <shellapi.h>

namespace Quarlen::Platform {

bool openInViewer(const std::filesystem::path& file) {
    // Up to 32 stands for an error (ShellExecute, return value).
    constexpr std::intptr_t lastError = 32;
    HINSTANCE const answer =
        ::ShellExecuteW(nullptr, L"open", file.c_str(), nullptr, nullptr, SW_SHOWNORMAL);
    return reinterpret_cast<std::intptr_t>(answer) > lastError;
}

} // namespace Quarlen::Platform
