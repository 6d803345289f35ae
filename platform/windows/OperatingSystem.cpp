#include "platform/OperatingSystem.hpp"

#include <windows.h>

namespace Quarlen::Platform {

namespace {

using VersionFunction = LONG(WINAPI*)(OSVERSIONINFOW*);

/// GetVersionEx tells programs without a manifest an old number; this one always tells the truth.
VersionFunction versionFunction() {
    const HMODULE library = GetModuleHandleW(L"ntdll.dll");
    if (library == nullptr) {
        return nullptr;
    }
    return reinterpret_cast<VersionFunction>(
        reinterpret_cast<void*>(GetProcAddress(library, "RtlGetVersion")));
}

std::wstring versionNumber() {
    OSVERSIONINFOW info{};
    info.dwOSVersionInfoSize = sizeof(info);
    const VersionFunction function = versionFunction();
    if (function == nullptr || function(&info) != 0) {
        return {};
    }
    return L" " + std::to_wstring(info.dwMajorVersion) + L"." +
           std::to_wstring(info.dwMinorVersion) + L"." + std::to_wstring(info.dwBuildNumber);
}

} // namespace

OperatingSystem operatingSystem() {
    return {OperatingSystemKind::Windows, L"Windows" + versionNumber()};
}

} // namespace Quarlen::Platform
