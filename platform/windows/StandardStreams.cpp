#include "platform/StandardStreams.hpp"

#include <initializer_list>
#include <windows.h>

namespace Quarlen::Platform {
namespace {

/// The value of a standard handle that was not inherited may later belong to another handle.
bool isMissing(HANDLE stream) {
    ::SetLastError(NO_ERROR);
    return stream == nullptr || stream == INVALID_HANDLE_VALUE ||
           (::GetFileType(stream) == FILE_TYPE_UNKNOWN && ::GetLastError() != NO_ERROR);
}

} // namespace

void openMissingStandardStreams() {
    for (const DWORD name : {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE}) {
        if (isMissing(::GetStdHandle(name))) {
            ::SetStdHandle(name, ::CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE,
                                               FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                               OPEN_EXISTING, 0, nullptr));
        }
    }
}

} // namespace Quarlen::Platform
