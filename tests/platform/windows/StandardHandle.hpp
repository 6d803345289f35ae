#pragma once

#include <windows.h>

namespace Quarlen::Platform::Tests {

/// Gives the process another standard stream for as long as it lives.
class StandardHandle {
public:
    StandardHandle(DWORD name, HANDLE handle) : name(name), former(::GetStdHandle(name)) {
        ::SetStdHandle(name, handle);
    }
    StandardHandle(const StandardHandle&) = delete;
    StandardHandle& operator=(const StandardHandle&) = delete;
    ~StandardHandle() { ::SetStdHandle(name, former); }

private:
    DWORD name;
    HANDLE former;
};

} // namespace Quarlen::Platform::Tests
