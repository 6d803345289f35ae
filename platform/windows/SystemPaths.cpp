#include "platform/SystemPaths.hpp"

#include <memory>

// The system's main header must come before all others.
// clang-format off
#include <windows.h>
#include <objbase.h>
#include <knownfolders.h>
#include <shlobj.h>
// clang-format on

#include "platform/windows/FinalPath.hpp"

namespace Quarlen::Platform {
namespace {

constexpr std::size_t maxPathLength = 32768;

struct TaskMemoryFree {
    void operator()(wchar_t* memory) const noexcept { ::CoTaskMemFree(memory); }
};

std::wstring modulePath() {
    std::wstring path(maxPathLength, L'\0');
    const DWORD length =
        ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    path.resize(length < path.size() ? length : 0);
    return path;
}

} // namespace

std::filesystem::path executablePath() {
    return programPath(modulePath());
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
