#pragma once

#include <functional>
#include <windows.h>

namespace Quarlen::Platform {

/// The system's calls to a console, and to what may stand in its place.
struct ConsoleCalls {
    std::function<BOOL(HANDLE, DWORD*)> getMode = ::GetConsoleMode;
    std::function<BOOL(HANDLE, DWORD)> setMode = ::SetConsoleMode;
    std::function<BOOL(HANDLE, const wchar_t*, DWORD, DWORD*)> writeText =
        [](HANDLE screen, const wchar_t* text, DWORD size, DWORD* written) {
            return ::WriteConsoleW(screen, text, size, written, nullptr);
        };
    std::function<BOOL(HANDLE, const char*, DWORD, DWORD*)> writeBytes =
        [](HANDLE file, const char* bytes, DWORD size, DWORD* written) {
            return ::WriteFile(file, bytes, size, written, nullptr);
        };
};

} // namespace Quarlen::Platform
