#include "platform/ErrorWindows.hpp"

#include <initializer_list>
#include <windows.h>

namespace Quarlen::Platform {

namespace {

/// `_set_abort_behavior` of the C library, as its documentation declares it.
using SetAbortBehaviour = unsigned(__cdecl*)(unsigned flags, unsigned mask);
/// Its `_CALL_REPORTFAULT`: the error report of the system, which may be a window.
constexpr unsigned reportFault = 2;

/// The import libraries of some compilers lack the function although the C library has it.
void reportNoAborts() {
    for (const wchar_t* const name : {L"ucrtbase.dll", L"msvcrt.dll"}) {
        const HMODULE library = ::GetModuleHandleW(name);
        const FARPROC found =
            library != nullptr ? ::GetProcAddress(library, "_set_abort_behavior") : nullptr;
        if (found != nullptr) {
            // The system knows functions by one type only.
            const auto setBehaviour =
                reinterpret_cast<SetAbortBehaviour>(reinterpret_cast<void*>(found));
            setBehaviour(0, reportFault);
        }
    }
}

} // namespace

void openNoErrorWindows() {
    ::SetErrorMode(::SetErrorMode(0) | SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX |
                   SEM_NOOPENFILEERRORBOX);
    reportNoAborts();
}

} // namespace Quarlen::Platform
