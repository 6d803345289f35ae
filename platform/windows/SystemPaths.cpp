#include "platform/SystemPaths.hpp"

#include <array>
#include <memory>

// The socket header must come before the system's main header, that one before all others.
// clang-format off
#include <winsock2.h>
#include <windows.h>
#include <objbase.h>
#include <knownfolders.h>
#include <shlobj.h>
// clang-format on

#include "platform/TextEncoding.hpp"
#include "platform/windows/FinalPath.hpp"

namespace Quarlen::Platform {
namespace {

constexpr std::size_t maxPathLength = 32768;

struct TaskMemoryFree {
    void operator()(wchar_t* memory) const noexcept { ::CoTaskMemFree(memory); }
};

/// Starts the socket library, which answers only after that.
class SocketLibrary {
public:
    SocketLibrary() { started = ::WSAStartup(MAKEWORD(2, 2), &data) == 0; }
    SocketLibrary(const SocketLibrary&) = delete;
    SocketLibrary& operator=(const SocketLibrary&) = delete;
    ~SocketLibrary() {
        if (started) {
            ::WSACleanup();
        }
    }

    [[nodiscard]] bool isStarted() const noexcept { return started; }

private:
    WSADATA data{};
    bool started = false;
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

std::wstring hostName() {
    const SocketLibrary sockets;
    std::array<char, 64> name{};
    if (!sockets.isStarted() || ::gethostname(name.data(), static_cast<int>(name.size())) != 0) {
        return {};
    }
    name.back() = '\0';
    return fromUtf8(name.data());
}

} // namespace Quarlen::Platform
