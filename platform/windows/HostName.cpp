#include "platform/windows/HostName.hpp"

#include <array>

// The socket header must come before the system's main header.
// clang-format off
#include <winsock2.h>
#include <windows.h>
// clang-format on

#include "platform/SystemPaths.hpp"
#include "platform/windows/SocketLibrary.hpp"

namespace Quarlen::Platform {
namespace {

/// The name in the system's own letters: `gethostname` gives the bytes of the user's code page.
/// Empty on systems before Windows 8, and where the socket library leaves the function out.
HostNameQuery winsockQuery() {
    using Function = int(WSAAPI*)(PWSTR, int);
    const HMODULE library = ::GetModuleHandleW(L"ws2_32.dll");
    const auto address = library != nullptr ? ::GetProcAddress(library, "GetHostNameW") : nullptr;
    if (address == nullptr) {
        return {};
    }
    const auto function = reinterpret_cast<Function>(reinterpret_cast<void*>(address));
    return [function](std::span<wchar_t> name) {
        const SocketLibrary sockets;
        return sockets.isStarted() && function(name.data(), static_cast<int>(name.size())) == 0;
    };
}

bool computerName(std::span<wchar_t> name) {
    auto size = static_cast<DWORD>(name.size());
    return ::GetComputerNameExW(ComputerNameDnsHostname, name.data(), &size) != 0;
}

} // namespace

std::wstring hostNameFrom(const HostNameQuery& winsock, const HostNameQuery& computer) {
    std::array<wchar_t, 64> name{};
    if ((!winsock || !winsock(name)) && !computer(name)) {
        return {};
    }
    name.back() = L'\0';
    return name.data();
}

std::wstring hostName() {
    return hostNameFrom(winsockQuery(), computerName);
}

} // namespace Quarlen::Platform
